// Conversions that are stopped: nothing half-written is seen, nothing that was there is lost.

#include "support/conversion_fixture.h"
#include "support/file_size_limit.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

namespace brisko {
namespace {

using test::CountingMonitor;
using test::TempFolder;
using vexo::ProgressTracker;

/// One way through the table and the input it takes.
struct Job {
    const char* name;
    std::function<void(const TempFolder&)> prepare;
    std::function<bool(const TempFolder&, ProgressTracker*)> run;
};

void prepareRaw(const TempFolder& folder, const char* name, const test::RawSpec& spec) {
    test::writeFile(folder / name, test::rawScan(spec));
}

const std::vector<Job>& jobs() {
    static const test::RawSpec kSpec{.blocks = 2, .columns = 120, .rows = 300};
    static const std::vector<Job> all{
        {"through CL3, sorted", [](const TempFolder& f) { prepareRaw(f, "a.clr", kSpec); },
         [](const TempFolder& f, ProgressTracker* t) { return ClrToCl3IjIndexed(f / "a.clr", t); }},
        {"one pass, compressed",
         [](const TempFolder& f) {
             prepareRaw(f, "a.clr", {.model = "RVX2000", .format = 2, .columns = 120, .rows = 300});
         },
         [](const TempFolder& f, ProgressTracker* t) { return ClrToCl3IjIndexed(f / "a.clr", t); }},
        {"a series",
         [](const TempFolder& f) {
             prepareRaw(f, "a_000.clr", kSpec);
             prepareRaw(f, "a_001.clr", kSpec);
         },
         [](const TempFolder& f, ProgressTracker* t) {
             return ClrToCl3IjIndexed(f / "a_000.clr", t);
         }},
        {"an indexed scan",
         [](const TempFolder& f) {
             prepareRaw(f, "r_index.clr", kSpec);
             ConvertClrToCl3Indexed(f / "r_index.clr");
             std::filesystem::rename(f / "r_index.cl3", f / "a.cl3");
             std::filesystem::rename(f / "r_index.ij", f / "a.ij");
             std::filesystem::remove(f / "r_index.clr");
         },
         [](const TempFolder& f, ProgressTracker* t) { return Cl3IjIndexed(f / "a.cl3", t); }},
    };
    return all;
}

/// A folder with the input of a job and older outputs of everything it writes.
struct Scene {
    explicit Scene(const Job& job) {
        job.prepare(folder);
        inputs = test::contentsOf(folder);
        const TempFolder undisturbed;
        job.prepare(undisturbed);
        EXPECT_TRUE(job.run(undisturbed, nullptr)) << job.name;
        outputs = test::contentsOf(undisturbed);
        for (const auto& [name, bytes] : outputs) {
            if (!inputs.count(name)) test::writeFile(folder / name, "an older " + name);
        }
        before = test::contentsOf(folder);
    }

    /// Every file is an input as it was, an older output as it was, or a whole new one.
    void expectNothingHalfDone() const {
        for (const auto& [name, bytes] : test::contentsOf(folder)) {
            ASSERT_TRUE(before.count(name)) << name << " was left behind";
            const auto whole = outputs.find(name);
            ASSERT_TRUE(bytes == before.at(name) ||
                        (whole != outputs.end() && bytes == whole->second))
                << name;
            const auto input = inputs.find(name);
            ASSERT_TRUE(input == inputs.end() || bytes == input->second) << name;
        }
    }
    void expectDone() const { EXPECT_EQ(test::contentsOf(folder), outputs); }

    TempFolder folder;
    std::map<std::string, test::Bytes> inputs, outputs, before;
};

TEST(ConversionFaults, ACancellationArrivesAtEveryPerCentAndLeavesNoTrace) {
    const test::SilentOutput silent;
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name);
        const Scene scene(job);
        bool cancelled = true;
        for (int at = 1; cancelled; at += at < 5 ? 1 : 7) {
            ProgressTracker tracker;
            CountingMonitor monitor;
            monitor.cancelAt = at;
            tracker.addMonitor(&monitor);
            cancelled = false;
            try {
                EXPECT_TRUE(job.run(scene.folder, &tracker));
            } catch (const vexo::CancelProgressRequest&) {
                cancelled = true;
            }
            EXPECT_EQ(monitor.starts, monitor.finishes);
            EXPECT_EQ(cancelled, monitor.updates >= at);
            EXPECT_TRUE(monitor.mayStop);
            scene.expectNothingHalfDone();
        }
        scene.expectDone();
    }
}

TEST(ConversionFaults, WhatAMonitorThrowsReachesTheHost) {
    const test::SilentOutput silent;
    for (const Job& job : jobs()) {
        const Scene scene(job);
        ProgressTracker tracker;
        CountingMonitor monitor;
        monitor.throwAt = 10;
        tracker.addMonitor(&monitor);
        EXPECT_THROW(job.run(scene.folder, &tracker), int) << job.name;
        EXPECT_EQ(monitor.starts, monitor.finishes);
        scene.expectNothingHalfDone();
    }
}

TEST(ConversionFaults, AFullDiskLeavesWhatWasThere) {
    const test::SilentOutput silent;
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name);
        for (const rlim_t limit : {1UL, 100UL, 119UL, 120UL, 130UL, 5'000UL, 50'000UL, 144'000UL}) {
            const Scene scene(job);
            bool result = true;
            {
                const test::FileSizeLimit full(limit);
                result = job.run(scene.folder, nullptr);
            }
            EXPECT_FALSE(result) << limit;
            scene.expectNothingHalfDone();
            EXPECT_TRUE(job.run(scene.folder, nullptr));
            scene.expectDone();
        }
    }
}

TEST(ConversionFaults, AKilledConversionCanBeRunAgain) {
    const test::SilentOutput silent;
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.name);
        const Scene scene(job);
        for (int delay = 0; delay < 12'000; delay += 1'500) {  // microseconds
            const pid_t child = fork();
            if (child == 0) {
                job.run(scene.folder, nullptr);
                _exit(0);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(delay));
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
            for (const auto& [name, bytes] : scene.inputs)
                EXPECT_EQ(test::readFile(scene.folder / name), bytes);
        }
        EXPECT_TRUE(job.run(scene.folder, nullptr));
        for (const auto& [name, bytes] : scene.outputs)
            EXPECT_EQ(test::readFile(scene.folder / name), bytes) << name;
    }
}

TEST(ConversionFaults, PausesAndGoesOn) {
    const test::SilentOutput silent;
    class PausingMonitor : public CountingMonitor {
    public:
        vexo::ProgressRequest onUpdate(const std::string& name, float percentage, bool pausable,
                                       bool cancellable) override {
            CountingMonitor::onUpdate(name, percentage, pausable, cancellable);
            return updates % 20 == 0 ? vexo::ProgressRequest::Pause
                                     : vexo::ProgressRequest::Continue;
        }
    };
    const Job& job = jobs().front();
    const Scene scene(job);
    ProgressTracker tracker;
    PausingMonitor monitor;
    tracker.addMonitor(&monitor);
    std::atomic<bool> done{false};
    std::thread resumer([&] {
        while (!done) {
            tracker.resume();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(job.run(scene.folder, &tracker));
    done = true;
    resumer.join();
    EXPECT_GT(monitor.updates, 60);
    EXPECT_EQ(monitor.last, 100);
    scene.expectDone();
}

TEST(ConversionFaults, TellsItsStagesByTheirLabels) {
    const test::SilentOutput silent;
    const TempFolder folder;
    jobs()[2].prepare(folder);
    ProgressTracker tracker;
    CountingMonitor monitor;
    tracker.addMonitor(&monitor);
    EXPECT_TRUE(jobs()[2].run(folder, &tracker));
    EXPECT_EQ(monitor.names, (std::vector<std::string>{"Pcp combineMultiCLR", "Pcp SortCLR",
                                                       "Convert CLR to CL3", "Pcp Indexing1"}));
}

TEST(ConversionFaults, OutputsThatCannotBeReplacedStay) {
    const test::SilentOutput silent;
    const TempFolder folder;
    prepareRaw(folder, "a.clr", {.model = "RXL1000", .format = 3});
    std::filesystem::create_directory(folder / "a_index.cl3");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a_index.cl3"));

    // A link is followed; one that leads to the input is refused.
    std::filesystem::remove(folder / "a_index.cl3");
    std::filesystem::create_symlink(folder / "a.clr", folder / "a_index.cl3");
    const auto input = test::readFile(folder / "a.clr");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_EQ(test::readFile(folder / "a.clr"), input);
}

TEST(ConversionFaults, TheUsersAlignmentIsNeverWritten) {
    const test::SilentOutput silent;
    const TempFolder folder;
    prepareRaw(folder, "a_index.clr", {});
    const std::string alignment =
        "CL3_ALG_0.1\n1 0 0 5\n0 1 0 6\n0 0 1 7\n0 0 0 1\n2200\n1\n1\nhand-made\n";
    test::writeFile(folder / "a_index.alg", alignment);
    EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "a_index.clr"));
    EXPECT_EQ(test::readText(folder / "a_index.alg"), alignment);
    EXPECT_EQ(test::pointsByCell<CL3GridCodec>(folder / "a_index.cl3"),
              test::pointsByCell<CLRGridCodec>(folder / "a_index.clr"));
}

TEST(ConversionFaults, TwoAtOnceGiveOneWholeResult) {
    const test::SilentOutput silent;
    for (const Job& job : jobs()) {
        const Scene scene(job);
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i)
            threads.emplace_back([&] { job.run(scene.folder, nullptr); });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_TRUE(job.run(scene.folder, nullptr));
        scene.expectDone();
    }
}

}  // namespace
}  // namespace brisko
