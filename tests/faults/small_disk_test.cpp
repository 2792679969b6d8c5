// Jobs on disks that are too small for them, step by step until they fit.

#include "faults/child.h"
#include "faults/jobs.h"
#include "support/file_size_limit.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace brisko {
namespace {

using test::Job;
using test::Scene;
using test::TempFolder;

class SmallDisk : public testing::TestWithParam<Job> {
protected:
    const test::SilentOutput m_silent;
};

INSTANTIATE_TEST_SUITE_P(Jobs, SmallDisk, testing::ValuesIn(test::jobs()), test::jobName);

TEST_P(SmallDisk, AnyLengthAtWhichFilesStopTakingBytesLosesNothing) {
    constexpr rlim_t kEnough = 1 << 20;
    Scene scene(GetParam());
    bool done = false;
    for (rlim_t limit = 0; !done && !HasFailure(); limit += 1 + limit / 6) {
        SCOPED_TRACE(limit);
        ASSERT_LT(limit, kEnough);
        {
            const test::FileSizeLimit full(limit);
            done = scene.run();
        }
        scene.expectWholeOrNothing();
    }
    scene.expectDone();
}

void writeText(const char* path, const std::string& text) {
    if (std::FILE* const file = std::fopen(path, "w")) {
        std::fputs(text.c_str(), file);
        std::fclose(file);
    }
}

/// Gives this process mounts of its own, as root or as the root of a user namespace.
bool mayMount() {
    if (unshare(CLONE_NEWNS) != 0) {
        const std::string user = std::to_string(getuid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
        writeText("/proc/self/uid_map", "0 " + user + " 1");
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mountMemory(const std::string& folder, std::uint64_t bytes, unsigned long flags = 0) {
    const std::string options = "size=" + std::to_string(bytes);
    return mount("tmpfs", folder.c_str(), "tmpfs", flags, options.c_str()) == 0;
}

std::uint64_t usedBytes(const std::string& folder) {
    struct statvfs status {};
    if (statvfs(folder.c_str(), &status) != 0) return 0;
    return (status.f_blocks - status.f_bfree) * status.f_frsize;
}

/// The disk grows by a page until the job fits on it.
void runOnGrowingDisk(const Job& job, const std::string& disk) {
    constexpr std::uint64_t kPage = 4096, kEnough = 4 << 20;
    setenv("TMPDIR", disk.c_str(), 1);
    Scene scene(job);
    bool done = false;
    for (std::uint64_t size = usedBytes(disk); !done && !testing::Test::HasFailure();
         size += kPage) {
        SCOPED_TRACE(size);
        ASSERT_LT(size, kEnough);
        ASSERT_TRUE(mountMemory(disk, size, MS_REMOUNT)) << std::strerror(errno);
        done = scene.run();
        scene.expectWholeOrNothing();
    }
    scene.expectDone();
}

TEST_P(SmallDisk, ADiskThatFillsUpLosesNothing) {
    constexpr int kNoMounts = 77;
    const TempFolder disk;
    const int status = test::waitFor(test::startChild([&] {
        if (!mayMount() || !mountMemory(disk.path().string(), 16 << 20)) _exit(kNoMounts);
        runOnGrowingDisk(GetParam(), disk.path().string());
        return !HasFailure();
    }));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMounts) {
        GTEST_SKIP() << "the system allows no mounts here";
    }
    EXPECT_TRUE(test::exitedWell(status)) << status;
}

}  // namespace
}  // namespace brisko
