#include "vexo_progress/progress_recorder.h"

#include "vexo_progress/progress_implementation.h"

#include <gtest/gtest.h>
#include <boost/exception/get_error_info.hpp>

#include <limits>

namespace brisko::vexo {
namespace {

/// Expects the statement to throw the type with exactly that text and with its origin attached.
template <class Error, class Statement>
void expectRaised(const std::string& text, Statement&& statement) {
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

TEST(Progress, RefusedAndFollowedRequestsNameTheirOriginToo) {
    RecordedTracker host;
    DefiniteProgress progress(&host.tracker, "work", 100);
    auto step = [&, index = std::uint64_t{0}]() mutable { progress.setStepIndex(++index); };
    host.answer = always(ProgressRequest::Pause);
    expectRaised<std::logic_error>("This progress does not support pausing!", step);
    host.answer = always(ProgressRequest::Cancel);
    expectRaised<std::logic_error>("This progress does not support cancellation!", step);
    progress.setCancellable(true);
    expectRaised<CancelProgressRequest>("Cancel current progress!", step);
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
    } cases[] = {
        {1, 1, 100},
        {3, 1, 33},
        {3, 2, 66},
        {1000, 9, 0},
        {1000, 999, 99},
        {7, 0, 0},
        {kMost, kMost, 100},
        {kMost, kMost / 2, 50},
        {kMost - 2, kMost - 2, 100},
    };
    for (const auto& c : cases) {
        DefiniteProgress progress(&tracker, "work", c.count);
        progress.setStepIndex(c.index);
        EXPECT_EQ(progress.percentage(), c.percent) << c.index << " of " << c.count;
    }
}

}  // namespace
}  // namespace brisko::vexo
