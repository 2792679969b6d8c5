#include "common/staged_scan.h"
#include "common/failure.h"
#include "support/temp_folder.h"

#include <brisko_codec/alignment.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace brisko::tool {
namespace {

using namespace test;
using Names = std::vector<std::string>;

constexpr double kShifted[16] = {1, 0, 0, 5, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

void writeAlignment(const std::string& path, const double (&matrix)[16]) {
    ASSERT_TRUE(writeAlignmentFile(path.c_str(), matrix, {}));
}

TEST(StagedScan, AppearsWithItsCompanionsAtCommitAndReplacesOlderOnes) {
    const TempFolder folder;
    for (const char* name : {"a.cl3", "a.ij"})
        writeFile(folder / name, "old");
    StagedScan staged(folder / "a.cl3");
    writeFile(staged.path(), "scan");
    writeFile(staged.companion(".ij"), "index");
    writeAlignment(staged.companion(".alg"), kShifted);
    EXPECT_EQ(readText(folder / "a.cl3"), "old");
    staged.commit();
    EXPECT_EQ(folder.names(), (Names{"a.alg", "a.cl3", "a.ij"}));
    EXPECT_EQ(readText(folder / "a.cl3"), "scan");
    EXPECT_EQ(readText(folder / "a.ij"), "index");
}

TEST(StagedScan, LeavesNothingAndChangesNothingWithoutCommit) {
    const TempFolder folder;
    for (const char* name : {"a.cl3", "a.ij", "a.alg"})
        writeFile(folder / name, "old");
    {
        StagedScan staged(folder / "a.cl3");
        for (const char* extension : {".ij", ".alg"})
            writeFile(staged.companion(extension), "new");
    }
    EXPECT_EQ(folder.names(), (Names{"a.alg", "a.cl3", "a.ij"}));
    EXPECT_EQ(readText(folder / "a.ij"), "old");
}

TEST(StagedScan, RemovesOlderCompanionsOfTheScanThatItReplaces) {
    const struct {
        const char* output;
        Names left;
    } cases[] = {
        {"a.cl3", {"a.cl3"}}, {"a.clr", {"a.clr", "a.ij"}}, {"a.ply", {"a.alg", "a.ij", "a.ply"}}};
    for (const auto& scan : cases) {
        const TempFolder folder;
        for (const char* name : {"a.ij", "a.alg"})
            writeFile(folder / name, "old");
        StagedScan staged(folder / scan.output);
        staged.commit();
        EXPECT_EQ(folder.names(), scan.left) << scan.output;
    }
}

TEST(StagedScan, SharesAnAlignmentWithANeighbourOnlyWhenItIsTheSame) {
    const TempFolder folder;
    writeFile(folder / "a.clr", "neighbour");
    writeAlignment(folder / "a.alg", kShifted);
    const std::string alignment = readText(folder / "a.alg");
    {
        StagedScan staged(folder / "a.cl3");
        EXPECT_NO_THROW(staged.requireAlignment(kShifted));
        EXPECT_THROW(staged.requireAlignment(Alignment{}.matrix), Failure);
        EXPECT_THROW(staged.commit(), Failure);  // an identity: nothing was staged
    }
    EXPECT_EQ(folder.names(), (Names{"a.alg", "a.clr"}));
    {
        StagedScan staged(folder / "a.cl3");
        ASSERT_TRUE(
            writeAlignmentFile(staged.companion(".alg").c_str(), kShifted, {{9, 9, 9}, {1, 1, 1}}));
        staged.commit();
    }
    EXPECT_EQ(folder.names(), (Names{"a.alg", "a.cl3", "a.clr"}));
    EXPECT_EQ(readText(folder / "a.alg"), alignment);
}

TEST(StagedScan, FollowsALinkAndKeepsIt) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "far");
    writeFile(folder / "far/real.ply", "old");
    std::filesystem::create_symlink("far/real.ply", folder / "a.ply");
    StagedScan staged(folder / "a.ply");
    writeFile(staged.path(), "new");
    staged.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "a.ply"));
    EXPECT_EQ(readText(folder / "far/real.ply"), "new");
}

TEST(StagedScan, TakesTheLongestNameThatTheFileSystemAllows) {
    const TempFolder folder;
    const std::string name = std::string(251, 'n') + ".cl3";
    StagedScan staged(folder / name);
    staged.commit();
    EXPECT_EQ(folder.names(), Names{name});
}

TEST(StagedScan, RefusesWhatItCouldNotPutInPlace) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "a.cl3");
    writeFile(folder / "b.CL3", "same index");
    for (const char* output : {"a.cl3", "b.cl3", "none/a.cl3", "b.CL3/a.cl3"}) {
        try {
            const StagedScan staged(folder / output);
            ADD_FAILURE() << output << " was taken";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::NotWritten) << output;
        }
    }
    EXPECT_EQ(folder.names(), (Names{"a.cl3", "b.CL3"}));
}

}  // namespace
}  // namespace brisko::tool
