// One scan, and many that use it at once.

#include "faults/child.h"
#include "faults/jobs.h"
#include "faults/readers.h"

#include <brisko_codec/threads.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
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

TEST(SideBySide, ThreadsOfOneConversionKeepItsPromiseWhicheverCallFails) {
    const test::SilentOutput silent;
    const test::TempFolder folder;
    const std::string path = folder / "scan.clr";
    test::writeFile(path, test::rawScan({.model = "RVX2000", .columns = 600, .rows = 450}));
    const auto before = test::contentsOf(folder);
    const auto convert = [&](unsigned threads) {
        const JobThreadLimit limit(threads);
        return static_cast<bool>(indexScan(path, nullptr));
    };
    ASSERT_TRUE(convert(1));
    const auto done = test::contentsOf(folder);
    int failures = 0;
    for (const test::Fault fault : {test::Fault::Allocation, test::Fault::InputOutput,
                                    test::Fault::DiskFull, test::Fault::Short}) {
        for (const bool forever : {false, true}) {
            for (std::size_t nth = 1;; nth += nth / 3 + 1) {
                for (const std::string& name : folder.names())
                    if (!before.contains(name)) std::filesystem::remove_all(folder / name);
                bool wentWell = false, happened = false, keptAFile = false;
                {
                    const test::Failing failing(fault, nth, forever);
                    wentWell = convert(3);
                    happened = failing.happened();
                    keptAFile = failing.keptAFile();
                }
                // Where the very last call fails, the output is in place and still not vouched for.
                const auto now = keptAFile ? done : test::contentsOf(folder);
                EXPECT_TRUE(now == done || (!wentWell && now == before)) << nth;
                failures += wentWell ? 0 : 1;
                if (!happened) break;
            }
        }
    }
    EXPECT_GT(failures, 20);
}

}  // namespace
}  // namespace brisko
