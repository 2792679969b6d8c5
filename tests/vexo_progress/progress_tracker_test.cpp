#include "vexo_progress/progress_recorder.h"

#include <gtest/gtest.h>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <thread>

namespace brisko::vexo {
namespace {

TEST(ProgressTracker, ReportsNestedProgressesInOrder) {
    RecordedTracker host;
    {
        DefiniteProgress outer(&host.tracker, "outer", 2);
        outer.setStepIndex(1);
        {
            DefiniteProgress inner(&host.tracker, "inner", 1);
            inner.setStepIndex(1);
        }
        EXPECT_EQ(host.tracker.currentName(), "inner");  // the one started last, finished or not
        outer.setStepIndex(2);
    }
    EXPECT_EQ(host.events, (Events{"start outer", "outer 50", "start inner", "inner 100", "finish",
                                   "outer 100", "finish"}));
}

TEST(ProgressTracker, CallsMonitorsInTheOrderOfTheirAddresses) {
    ProgressTracker tracker;
    Recorder monitors[3];
    std::string order;
    for (std::size_t i = 0; i < 3; ++i) {
        monitors[i].duringStart = [&order, i] { order += std::to_string(i); };
    }
    for (const std::size_t i : {2U, 0U, 1U, 2U})
        tracker.addMonitor(&monitors[i]);
    { const Progress progress(&tracker, "a"); }
    EXPECT_EQ(order, "012");
    tracker.removeMonitor(&monitors[1]);
    tracker.removeMonitor(nullptr);
    { const Progress progress(&tracker, "b"); }
    EXPECT_EQ(order, "01202");
}

TEST(ProgressTracker, FollowsTheLargestRequest) {
    ProgressTracker tracker;
    Recorder first, second;
    tracker.addMonitor(&first);
    tracker.addMonitor(&second);
    using enum ProgressRequest;
    const struct {
        ProgressRequest first, second;
        bool pausable, cancellable;
        const char* outcome;
    } cases[] = {
        {Continue, Continue, false, false, ""},
        {Pause, Cancel, true, true, "Cancel current progress!"},
        {Cancel, Pause, true, true, "Cancel current progress!"},
        {Cancel, Continue, true, false, "This progress does not support cancellation!"},
        {Continue, Pause, false, true, "This progress does not support pausing!"},
        // Cancellation wins, even where only a pause would have been possible.
        {Cancel, Pause, true, false, "This progress does not support cancellation!"},
    };
    for (const auto& c : cases) {
        first.answer = always(c.first);
        second.answer = always(c.second);
        DefiniteProgress progress(&tracker, "work", 1);
        progress.setPausable(c.pausable);
        progress.setCancellable(c.cancellable);
        std::string outcome;
        try {
            progress.setStepIndex(1);
        } catch (const CancelProgressRequest& request) {
            EXPECT_TRUE(c.cancellable);
            expectOrigin(request);
            outcome = request.what();
        } catch (const std::logic_error& error) {
            expectOrigin(error);
            outcome = error.what();
        }
        EXPECT_EQ(outcome, c.outcome);
    }
}

TEST(ProgressTracker, AMonitorThatThrowsStopsTheWorkAndLeavesTheTrackerUsable) {
    RecordedTracker host;
    host.duringStart = [] { throw std::string("no start"); };
    EXPECT_THROW(Progress(&host.tracker, "one"), std::string);
    EXPECT_EQ(host.events, (Events{"start one", "finish"}));

    host.duringStart = nullptr;
    host.duringFinish = [] { throw std::string("no finish"); };  // swallowed by the destructor
    { const Progress progress(&host.tracker, "two"); }
    host.duringFinish = nullptr;
    DefiniteProgress three(&host.tracker, "three", 1000);
    host.answer = [](float) -> ProgressRequest { throw std::string("no update"); };
    EXPECT_THROW(three.setStepIndex(10), std::string);
    host.answer = nullptr;
    host.events.clear();
    three.setStepIndex(11);  // still 1 per cent, which nobody has heard of yet
    EXPECT_EQ(host.events, Events{"three 1"});
}

TEST(ProgressTracker, RefusesCallsOfItsMonitors) {
    RecordedTracker host;
    int refused = 0;
    const auto callBack = [&] {
        const std::function<void()> calls[] = {
            [&] { host.tracker.addMonitor(&host); },
            [&] { host.tracker.removeMonitor(&host); },
            [&] { host.tracker.resume(); },
            [&] { host.tracker.requestCancel(); },
            [&] { host.tracker.clearCancel(); },
            [&] { Progress(&host.tracker, "nested"); },
            [&] { static_cast<void>(host.tracker.currentName()); }};
        for (const auto& call : calls) {
            try {
                call();
            } catch (const std::logic_error& error) {
                expectOrigin(error);
                ++refused;
            }
        }
    };
    host.duringStart = host.duringFinish = callBack;
    host.answer = [&](float) {
        callBack();
        return ProgressRequest::Continue;
    };
    DefiniteProgress(&host.tracker, "work", 1).setStepIndex(1);
    EXPECT_EQ(refused, 3 * 7);
    EXPECT_EQ(host.events, (Events{"start work", "work 100", "finish"}));
}

/// Work that can be paused and cancelled; answers how many of its steps were done, and why it ended.
std::string work(ProgressTracker& tracker, std::uint64_t steps = 100) {
    std::uint64_t done = 0;
    std::string end = " done";
    try {
        DefiniteProgress progress(&tracker, "work", steps);
        progress.setPausable(true);
        progress.setCancellable(true);
        for (; done < steps; ++done)
            progress.setStepIndex(done + 1);
    } catch (const CancelProgressRequest&) {
        end = " cancelled";
    } catch (const boost::thread_interrupted&) {
        end = " interrupted";
    }
    return std::to_string(done) + end;
}

/// Pauses at every update and counts them.
struct PausingTracker : RecordedTracker {
    PausingTracker() {
        answer = [this](float) {
            ++pauses;
            return ProgressRequest::Pause;
        };
    }
    void waitForPause(int number) const {
        while (pauses < number)
            std::this_thread::yield();
    }

    std::atomic<int> pauses = 0;
};

TEST(ProgressTracker, PausesUntilItIsResumed) {
    PausingTracker host;
    std::atomic<bool> over = false;
    std::thread worker([&] {
        EXPECT_EQ(work(host.tracker), "100 done");
        over = true;
    });
    // A resume that comes while the monitor has not answered yet waits for the pause: none is lost.
    for (int pause = 1; pause <= 100; ++pause) {
        host.waitForPause(pause);
        EXPECT_EQ(host.pauses, pause);
        EXPECT_FALSE(over);
        host.tracker.resume();
    }
    worker.join();
    host.tracker.resume();  // nothing is paused: no effect on what comes
    host.answer = nullptr;
    EXPECT_EQ(work(host.tracker), "100 done");
}

TEST(ProgressTracker, MonitorsMayComeAndGoDuringAPause) {
    PausingTracker host;
    Recorder late;
    std::thread worker([&] { EXPECT_EQ(work(host.tracker), "100 done"); });
    host.waitForPause(1);
    host.tracker.addMonitor(&late);
    host.tracker.removeMonitor(&host);
    host.tracker.resume();
    worker.join();
    EXPECT_EQ(host.events.size(), 2U);    // the start and 1 per cent
    EXPECT_EQ(late.events.size(), 100U);  // 2 to 100 per cent and the finish
}

TEST(ProgressTracker, InterruptionsAndCancellationsEndAPause) {
    for (const std::string end : {"0 interrupted", "0 cancelled"}) {
        PausingTracker host;
        std::string outcome;
        boost::thread worker([&] { outcome = work(host.tracker); });
        host.waitForPause(1);
        if (end == "0 cancelled") {
            host.tracker.requestCancel();
        } else {
            worker.interrupt();
        }
        worker.join();
        EXPECT_EQ(outcome, end);
        EXPECT_EQ(host.events, (Events{"start work", "work 1 pausable cancellable", "finish"}));
        host.answer = nullptr;
        EXPECT_EQ(work(host.tracker), "100 done");
    }
}

TEST(ProgressTracker, ARequestedCancellationNeedsNoPerCentAndIsUsedUp) {
    ProgressTracker tracker;
    DefiniteProgress progress(&tracker, "work", 1'000'000'000);
    progress.setStepIndex(1);
    tracker.requestCancel();
    EXPECT_NO_THROW(progress.setStepIndex(2));  // it cannot be cancelled yet
    EXPECT_NO_THROW(progress.checkCancel());
    progress.setCancellable(true);
    EXPECT_THROW(progress.setStepIndex(3), CancelProgressRequest);
    EXPECT_NO_THROW(progress.setStepIndex(4));
    tracker.requestCancel();
    EXPECT_THROW(progress.checkCancel(), CancelProgressRequest);
    tracker.requestCancel();
    EXPECT_THROW(progress.setStepIndex(1'000'000'000), CancelProgressRequest);
    EXPECT_NO_THROW(progress.checkCancel());
    tracker.requestCancel();  // withdrawn before anything looks
    tracker.clearCancel();
    EXPECT_NO_THROW(progress.checkCancel());
    const DefiniteProgress inner(&tracker, "inner", 1);  // an outer one may look, too
    progress.setCancellable(false);
    tracker.requestCancel();
    EXPECT_NO_THROW(progress.setStepIndex(5));
    progress.setCancellable(true);
    EXPECT_THROW(progress.setStepIndex(6), CancelProgressRequest);
}

TEST(ProgressTracker, AMonitorMayWaitForTheThreadThatResumesOrCancels) {
    for (const char* const end : {"1 done", "0 cancelled"}) {
        RecordedTracker host;
        const bool cancels = end[0] == '0';
        host.answer = [&](float) {
            std::thread([&] {
                cancels ? host.tracker.requestCancel() : host.tracker.resume();
            }).join();
            return ProgressRequest::Pause;  // a resume before this answer ends the pause
        };
        EXPECT_EQ(work(host.tracker, 1), end);
    }
}

TEST(ProgressTracker, AnyThreadMayAskWhileWorkGoesOn) {
    RecordedTracker host;
    std::atomic<bool> over = false;
    std::thread other([&] {
        Recorder second;
        while (!over) {
            host.tracker.addMonitor(&second);
            static_cast<void>(host.tracker.currentName());
            host.tracker.removeMonitor(&second);
            host.tracker.resume();
        }
    });
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(work(host.tracker, 1000), "1000 done");
    over = true;
    other.join();
}

}  // namespace
}  // namespace brisko::vexo
