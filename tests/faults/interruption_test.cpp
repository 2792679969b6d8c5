// Jobs that their host stops, pauses or kills, at every place where it can.

#include "faults/child.h"
#include "faults/faults.h"
#include "faults/jobs.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace brisko {
namespace {

using test::CountingMonitor;
using test::Job;
using test::Scene;

class Interruption : public testing::TestWithParam<Job> {
protected:
    const test::SilentOutput m_silent;
};

INSTANTIATE_TEST_SUITE_P(Jobs, Interruption, testing::ValuesIn(test::jobs()), test::jobName);

TEST_P(Interruption, AtEveryPerCentLeavesNoTrace) {
    for (const auto at : {&CountingMonitor::cancelAt, &CountingMonitor::throwAt}) {
        Scene scene(GetParam());
        bool interrupted = true;
        for (int nth = 1; interrupted && !HasFailure(); ++nth) {
            SCOPED_TRACE("update " + std::to_string(nth));
            scene.monitor.updates = 0;
            scene.monitor.*at = nth;
            interrupted = false;
            try {
                EXPECT_TRUE(scene.run());
            } catch (const vexo::CancelProgressRequest&) {
                interrupted = scene.monitor.cancelAt == nth;
            } catch (const test::HostOutOfMemory&) {
                interrupted = scene.monitor.throwAt == nth;
            }
            EXPECT_EQ(interrupted, scene.monitor.updates >= nth);
            EXPECT_TRUE(scene.monitor.mayStop);
            scene.expectWholeOrNothing();
        }
        scene.expectDone();
    }
}

TEST_P(Interruption, APauseAtEveryPerCentLastsUntilTheHostResumes) {
    Scene scene(GetParam());
    scene.monitor.pauses = true;
    std::atomic<bool> done = false;
    std::thread resumer([&] {
        while (!done) {
            scene.arguments.tracker.resume();
            std::this_thread::yield();
        }
    });
    EXPECT_NO_THROW(EXPECT_TRUE(scene.run()));
    done = true;
    resumer.join();
    scene.expectDone();
    EXPECT_TRUE(scene.monitor.updates == 0 || scene.monitor.last == 100);
}

TEST_P(Interruption, AKillAtEveryCallLosesNothing) {
    constexpr std::size_t kRunAgainEvery = 8;
    for (const auto outputs : {Scene::Outputs::Old, Scene::Outputs::None}) {
        bool ended = false;
        for (std::size_t nth = 1; !ended && !HasFailure(); ++nth) {
            SCOPED_TRACE("call " + std::to_string(nth));
            Scene scene(GetParam(), outputs);
            const int status = test::waitFor(test::startChild([&] {
                const test::Failing killed(test::Fault::Killed, nth, false);
                return scene.run();
            }));
            ended = test::exitedWell(status);
            EXPECT_TRUE(ended || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) << status;
            scene.expectWholeOrNothing(true);
            if (!ended && nth % kRunAgainEvery != 0) continue;
            EXPECT_TRUE(scene.run());
            scene.expectDone(true);
        }
    }
}

}  // namespace
}  // namespace brisko
