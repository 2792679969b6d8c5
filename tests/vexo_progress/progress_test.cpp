#include "vexo_progress/progress_recorder.h"

#include "support/printed_by.h"
#include "vexo_progress/pcp_progress.h"
#include "vexo_progress/progress_error.h"
#include "vexo_progress/progress_implementation.h"

#include <gtest/gtest.h>

#include <limits>

namespace brisko::vexo {
namespace {

using test::printedBy;

/// Expects the statement to throw the type with exactly that text and with its origin attached.
template <class Error, class Statement>
void expectRaised(const std::string& text, Statement&& statement) {
    try {
        statement();
        ADD_FAILURE() << "nothing was thrown; expected: " << text;
    } catch (const Error& error) {
        EXPECT_EQ(error.what(), text);
        expectOrigin(error);
    }
}

TEST(Progress, IsStartedByItsConstructorAndFinishedByItsDestructor) {
    RecordedTracker host;
    {
        Progress progress(&host.tracker, "load");
        EXPECT_EQ(progress.percentage(), -1.0F);  // an unknown amount
        EXPECT_FALSE(progress.isPausable() || progress.isCancellable());
        EXPECT_EQ(host.events, Events{"start load"});
        progress.setPausable(true);
        progress.setCancellable(true);
        host.tracker.update(&progress);
    }
    EXPECT_THROW(DefiniteProgress(&host.tracker, "none", 0), std::invalid_argument);
    EXPECT_EQ(host.events, (Events{"start load", "load -1 pausable cancellable", "finish",
                                   "start none", "finish"}));
}

TEST(Progress, ReportsMisuseByTypeAndText) {
    using BadArgument = std::invalid_argument;
    using Misuse = std::logic_error;
    const std::string notTopmost = "Cannot act on a non-topmost progress!";
    ProgressTracker tracker;
    Progress progress(&tracker, "outer");
    expectRaised<BadArgument>("Invalid self pointer!",
                              [] { Progress::Implementation none(nullptr, "name"); });
    expectRaised<BadArgument>("Invalid self pointer!",
                              [] { DefiniteProgress::Implementation none(nullptr, 1); });
    expectRaised<Misuse>("Cannot act on an untracked progress!", [] { validateTracker(nullptr); });
    expectRaised<BadArgument>("Invalid progress pointer!", [&] { tracker.start(nullptr); });
    expectRaised<BadArgument>("Invalid monitor pointer!", [&] { tracker.addMonitor(nullptr); });
    expectRaised<BadArgument>("Step count must be positive!",
                              [&] { DefiniteProgress none(&tracker, "none", 0); });
    DefiniteProgress inner(&tracker, "inner", 10);
    expectRaised<BadArgument>("Step index must be less-than-or-equal-to step count!",
                              [&] { inner.setStepIndex(11); });
    DefiniteProgress::Implementation started(&inner, 10);
    started.stepIndex = 5;
    expectRaised<BadArgument>("Step count must be greater-than-or-equal-to step index!",
                              [&] { started.validateStepCount(4); });
    expectRaised<Misuse>(notTopmost, [&] { tracker.update(&progress); });
    expectRaised<Misuse>(notTopmost, [&] { tracker.finish(&progress); });
    expectRaised<Misuse>(notTopmost, [&] { tracker.update(nullptr); });
    Progress::Implementation tracked(&progress, "twice");
    tracked.track(&tracker);
    expectRaised<Misuse>("Cannot track progress twice!", [&] { tracked.track(&tracker); });
}

TEST(ProgressDeathTest, ANullTrackerEndsTheProcess) {
    EXPECT_DEATH(Progress(nullptr, "name"), "Cannot act on an untracked progress!");
    EXPECT_DEATH(DefiniteProgress(nullptr, "name", 1), "");
}

TEST(DefiniteProgress, ReportsWholePerCentOnce) {
    RecordedTracker host;
    DefiniteProgress progress(&host.tracker, "work", 1000);
    host.events.clear();
    for (std::uint64_t i = 0; i < 10; ++i)
        progress.setStepIndex(i);
    EXPECT_EQ(host.events, Events{});
    for (const std::uint64_t i : {10U, 10U, 19U, 25U, 5U, 1000U})
        progress.setStepIndex(i);
    EXPECT_EQ(host.events, (Events{"work 1", "work 2", "work 0", "work 100"}));
}

TEST(DefiniteProgress, CutsToWholePerCentWithoutOverflow) {
    ProgressTracker tracker;
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    const struct {
        std::uint64_t count, index;
        float percent;
    } cases[] = {{1, 1, 100},
                 {3, 1, 33},
                 {3, 2, 66},
                 {1000, 9, 0},
                 {1000, 999, 99},
                 {7, 0, 0},
                 {kMost, kMost, 100},
                 {kMost, kMost / 2, 50},
                 {kMost - 2, kMost - 2, 100}};
    for (const auto& c : cases) {
        DefiniteProgress progress(&tracker, "work", c.count);
        progress.setStepIndex(c.index);
        EXPECT_EQ(progress.percentage(), c.percent) << c.index << " of " << c.count;
    }
}

TEST(PcpProgress, EveryNewProcessNumberStartsAProgress) {
    RecordedTracker host;
    const std::string printed = printedBy([&] {
        PcpProgress bridge(&host.tracker, "Pcp Indexing1");
        bridge.SetPos(0);
        bridge.SetPos(7);  // no process yet: kept, not reported
        EXPECT_EQ(bridge.GetPos(), 7);
        bridge.SetProcNo(0);  // the number it starts with
        EXPECT_EQ(host.events, Events{});
        bridge.SetProcNo(1);
        bridge.SetPos(30);
        bridge.SetPos(30);
        bridge.SetProcNo(1);  // the same process: back to 0, which is not reported
        EXPECT_EQ(bridge.GetPos(), 0);
        bridge.SetPos(31);
        bridge.SetProcNo(0xFFFE);
        bridge.SetPos(100);
    });
    EXPECT_EQ(printed, "PcpLib SetProcNo =1\nPcpLib SetProcNo =-2\n");
    EXPECT_EQ(host.events,
              (Events{"start Pcp Indexing1", "Pcp Indexing1 30 pausable cancellable",
                      "Pcp Indexing1 31 pausable cancellable", "finish", "start Pcp Indexing1",
                      "Pcp Indexing1 100 pausable cancellable", "finish"}));
}

TEST(PcpProgress, RefusesPositionsOutsideItsHundredSteps) {
    RecordedTracker host;
    PcpProgress bridge(&host.tracker, "work");
    printedBy([&] { bridge.SetProcNo(1); });
    for (const int position : {101, 32767, 32768, 0xFFFF}) {
        EXPECT_THROW(bridge.SetPos(static_cast<std::uint16_t>(position)), std::invalid_argument);
        EXPECT_EQ(bridge.GetPos(), 0);
    }
}

TEST(PcpProgress, WithoutATrackerTakesEverythingSilently) {
    PcpProgress bridge(nullptr, "work");
    EXPECT_EQ(printedBy([&] {
                  bridge.SetProcNo(3);
                  bridge.SetPos(0xFFFF);
                  bridge.Poll();
              }),
              "");
    EXPECT_EQ(bridge.GetProcNo(), 3);
    EXPECT_EQ(bridge.GetPos(), 0xFFFF);
}

TEST(PcpProgress, FollowsCancellationsAndMonitorsThatRefuse) {
    RecordedTracker host;
    printedBy([&] {
        PcpProgress bridge(&host.tracker, "work");
        host.tracker.requestCancel();
        EXPECT_NO_THROW(bridge.Poll());  // no process runs yet
        bridge.SetProcNo(1);
        EXPECT_THROW(bridge.Poll(), CancelProgressRequest);
        host.duringStart = [] { throw 1; };
        EXPECT_THROW(bridge.SetProcNo(2), int);
        EXPECT_EQ(bridge.GetProcNo(), 1);
        bridge.SetPos(5);  // no progress is left to tell it to
    });
    EXPECT_EQ(host.events, (Events{"start work", "finish", "start work", "finish"}));
}

}  // namespace
}  // namespace brisko::vexo
