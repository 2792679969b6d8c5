// One scan, and many that use it at once.

#include "faults/child.h"
#include "faults/jobs.h"
#include "faults/readers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace brisko {
namespace {

using test::Arguments;
using test::Job;
using test::Scene;

constexpr int kRounds = 4;

TEST(SideBySide, TwoThreadsOrProcessesAtOneJobGiveOneWholeResult) {
    const test::SilentOutput silent;
    for (const Job& job : test::jobs()) {
        SCOPED_TRACE(job.name);
        for (int round = 0; round < kRounds; ++round) {
            Scene scene(job), processes(job);
            const auto run = [&processes] { return processes.run(); };
            const pid_t children[] = {test::startChild(run), test::startChild(run)};
            for (const pid_t child : children)
                EXPECT_TRUE(test::exitedWell(test::waitFor(child)));
            processes.expectDone();
            if (job.needsProcess) continue;
            Arguments others{scene.arguments.input, scene.arguments.output, {}};
            std::thread other([&] { EXPECT_TRUE(job.run(others)); });
            EXPECT_TRUE(scene.run());
            other.join();
            scene.expectDone();
        }
    }
}

TEST(SideBySide, SixtyFourReadersOfAScanDeliverItAll) {
    constexpr int kReaderCount = 64;
    for (const test::Reader& reader : test::kReaders) {
        const auto readWhole = [&reader] {
            const test::CodecPtr<BriskoCodec> codec(reader.create());
            return codec->Open(test::scanOf(reader).c_str()) ? test::readAll(*codec)
                                                             : std::vector<test::TestPoint>{};
        };
        const std::vector<test::TestPoint> truth = readWhole();
        ASSERT_GT(truth.size(), 250U) << reader;
        std::atomic<int> right = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kReaderCount; ++i)
            threads.emplace_back([&] { right += readWhole() == truth; });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(right, kReaderCount) << reader;
    }
}

}  // namespace
}  // namespace brisko
