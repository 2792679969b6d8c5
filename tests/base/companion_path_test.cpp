#include "base/companion_path.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

TEST(CompanionPath, ReadersAndWritersEachFollowTheirRule) {
    const struct {
        std::string path, reading, writing;
    } cases[] = {
        {"scan.cl3", "scan.ij", "scan.ij"},
        {"/data/scan.CL3", "/data/scan.ij", "/data/scan.ij"},
        {"a.b.cl3", "a.b.ij", "a.b.ij"},
        {"scan.v2/data", "scan.ij", "scan.v2/data.ij"},
        {"scan", "", "scan.ij"},
        {"../data/scan", "..ij", "../data/scan.ij"},
        {"dir/.cl3", "dir/.ij", "dir/.ij"},
        {"dir/..", "dir/..ij", "dir/...ij"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(companionForReading(c.path, ".ij"), c.reading);
        EXPECT_EQ(companionForWriting(c.path, ".ij"), c.writing);
    }
}

}  // namespace
}  // namespace brisko
