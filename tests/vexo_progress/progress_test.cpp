#include "vexo_progress/progress_recorder.h"

#include "vexo_progress/progress_error.h"
#include "vexo_progress/progress_implementation.h"

#include <gtest/gtest.h>
#include <boost/exception/get_error_info.hpp>

#include <limits>

namespace brisko::vexo {
namespace {

using Events = std::vector<std::string>;

/// Expects the statement to throw the type with exactly that text and with its origin attached.
template <class Error, class Statement>
void expectRaised(const std::string& text, const Statement& statement) {
    try {
        statement();
        ADD_FAILURE() << "nothing was thrown; expected: " << text;
    } catch (const Error& error) {
        EXPECT_EQ(error.what(), text);
        EXPECT_NE(boost::get_error_info<boost::throw_function>(error), nullptr) << text;
        EXPECT_NE(boost::get_error_info<boost::throw_file>(error), nullptr) << text;
        ASSERT_NE(boost::get_error_info<boost::throw_line>(error), nullptr) << text;
        EXPECT_GT(*boost::get_error_info<boost::throw_line>(error), 0) << text;
    }
}

TEST(Progress, IsStartedByItsConstructorAndFinishedByItsDestructor) {
    RecordedTracker host;
    {
        const Progress progress(&host.tracker, "load");
        EXPECT_EQ(progress.percentage(), -1.0F);
        EXPECT_EQ(progress.name(), "load");
        EXPECT_FALSE(progress.isPausable() || progress.isCancellable());
        EXPECT_EQ(host.events, Events{"start load"});
    }
    EXPECT_EQ(host.events, (Events{"start load", "finish"}));
}

TEST(Progress, ReportsAnUnknownAmountAsMinusOne) {
    RecordedTracker host;
    Progress progress(&host.tracker, "load");
    progress.setPausable(true);
    progress.setCancellable(true);
    host.tracker.update(&progress);
    EXPECT_EQ(host.events.back(), "load -1 pausable cancellable");
}

TEST(Progress, AnErrorNamesItsOrigin) {
    ProgressTracker tracker;
    try {
        tracker.start(nullptr);
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(*boost::get_error_info<boost::throw_function>(error))
                      .find("ProgressTracker::Implementation::start("),
                  std::string::npos);
        EXPECT_TRUE(std::string(*boost::get_error_info<boost::throw_file>(error))
                        .ends_with("vexo_progress/progress_tracker.cpp"));
    }
}

TEST(Progress, TellsMisuseByTypeAndText) {
    ProgressTracker tracker;
    Progress progress(&tracker, "outer");
    expectRaised<std::invalid_argument>("Invalid self pointer!",
                                        [] { Progress::Implementation none(nullptr, "name"); });
    expectRaised<std::invalid_argument>("Invalid self pointer!",
                                        [] { DefiniteProgress::Implementation none(nullptr, 1); });
    expectRaised<std::logic_error>("Cannot act on an untracked progress!",
                                   [] { validateTracker(nullptr); });
    expectRaised<std::invalid_argument>("Invalid progress pointer!",
                                        [&] { tracker.start(nullptr); });
    expectRaised<std::invalid_argument>("Invalid monitor pointer!",
                                        [&] { tracker.addMonitor(nullptr); });
    expectRaised<std::invalid_argument>("Step count must be positive!",
                                        [&] { DefiniteProgress none(&tracker, "none", 0); });
    DefiniteProgress inner(&tracker, "inner", 10);
    expectRaised<std::invalid_argument>("Step index must be less-than-or-equal-to step count!",
                                        [&] { inner.setStepIndex(11); });
    DefiniteProgress::Implementation started(&inner, 10);
    started.stepIndex = 5;
    expectRaised<std::invalid_argument>("Step count must be greater-than-or-equal-to step index!",
                                        [&] { started.validateStepCount(4); });
    expectRaised<std::logic_error>("Cannot act on a non-topmost progress!",
                                   [&] { tracker.update(&progress); });
    expectRaised<std::logic_error>("Cannot act on a non-topmost progress!",
                                   [&] { tracker.finish(&progress); });
    expectRaised<std::logic_error>("Cannot act on a non-topmost progress!",
                                   [&] { tracker.update(nullptr); });
    Progress::Implementation tracked(&progress, "twice");
    tracked.track(&tracker);
    expectRaised<std::logic_error>("Cannot track progress twice!",
                                   [&] { tracked.track(&tracker); });
}

TEST(Progress, RefusedAndFollowedRequestsNameTheirOriginToo) {
    RecordedTracker host;
    DefiniteProgress progress(&host.tracker, "work", 100);
    host.answer = always(ProgressRequest::Pause);
    expectRaised<std::logic_error>("This progress does not support pausing!",
                                   [&] { progress.setStepIndex(1); });
    host.answer = always(ProgressRequest::Cancel);
    expectRaised<std::logic_error>("This progress does not support cancellation!",
                                   [&] { progress.setStepIndex(2); });
    progress.setCancellable(true);
    expectRaised<CancelProgressRequest>("Cancel current progress!",
                                        [&] { progress.setStepIndex(3); });
}

TEST(ProgressDeathTest, ANullTrackerEndsTheProcess) {
    EXPECT_DEATH(Progress(nullptr, "name"), "Cannot act on an untracked progress!");
    EXPECT_DEATH(DefiniteProgress(nullptr, "name", 1), "");
}

TEST(Progress, WithoutStepsIsStartedAndFinishedAgain) {
    RecordedTracker host;
    EXPECT_THROW(DefiniteProgress(&host.tracker, "none", 0), std::invalid_argument);
    EXPECT_EQ(host.events, (Events{"start none", "finish"}));
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
    } cases[] = {
        {1, 1, 100.0F},
        {3, 1, 33.0F},
        {3, 2, 66.0F},
        {1000, 9, 0.0F},
        {1000, 999, 99.0F},
        {kMost, kMost, 100.0F},
        {kMost, kMost / 2, 50.0F},
        {7, 0, 0.0F},
        {kMost - 2, kMost - 2, 100.0F},
    };
    for (const auto& c : cases) {
        DefiniteProgress progress(&tracker, "work", c.count);
        progress.setStepIndex(c.index);
        EXPECT_EQ(progress.percentage(), c.percent) << c.index << " of " << c.count;
    }
}

TEST(DefiniteProgress, AnUpdateThatThrowsIsTriedAgainWithTheNextStep) {
    RecordedTracker host;
    DefiniteProgress progress(&host.tracker, "work", 1000);
    host.answer = [](float) -> ProgressRequest { throw 7; };
    EXPECT_THROW(progress.setStepIndex(10), int);
    host.answer = nullptr;
    host.events.clear();
    progress.setStepIndex(11);  // still 1 per cent, which nobody has heard of yet
    EXPECT_EQ(host.events, Events{"work 1"});
}

}  // namespace
}  // namespace brisko::vexo
