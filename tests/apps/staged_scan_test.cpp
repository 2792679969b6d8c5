#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include "apps/tool_run.h"
#include "support/conversion_fixture.h"

#include <brisko_codec/alignment.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace test;
using Names = std::vector<std::string>;

constexpr double kShifted[16] = {1, 0, 0, 5, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

void writeAlignment(const std::string& path, const double (&matrix)[16]) {
    ASSERT_TRUE(writeAlignmentFile(path.c_str(), matrix, {}));
}

TEST(StagedScan, SharesAnAlignmentWithANeighbourOnlyWhenItIsTheSame) {
    const TempFolder folder;
    writeFile(folder / "a.clr", "neighbour");
    writeAlignment(folder / "a.alg", kShifted);
    const std::string alignment = readText(folder / "a.alg");
    {
        StagedScan staged(folder / "a.cl3");
        EXPECT_NO_THROW(staged.requireAlignment(kShifted));
        EXPECT_THROW(staged.requireAlignment(Alignment{}.matrix), ScanError);
        EXPECT_THROW(staged.commit(), ScanError);  // an identity: nothing was staged
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

TEST(StagedScan, AnOutputIsNewWhenNeitherItNorACompanionOfItsOwnIsThere) {
    const struct {
        const char* there;
        const char* output;
        bool isNew;
    } cases[] = {{"a.cl3", "a.cl3", false}, {"a.ij", "a.cl3", false}, {"a.alg", "a.clr", false},
                 {"a.ij", "a.clr", true},   {"a.alg", "a.ply", true}, {"a.clr", "a.cl3", true}};
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(folder / c.there, "old");
        if (c.isNew) {
            EXPECT_NO_THROW(requireNew(folder / c.output, false)) << c.output;
            continue;
        }
        EXPECT_THROW(requireNew(folder / c.output, false), ScanError) << c.output;
        EXPECT_NO_THROW(requireNew(folder / c.output, true)) << c.output;
    }
}

TEST(StagedScan, EveryCommandReplacesAnOutputOnlyWhenToldTo) {
    const TempFolder folder;
    simulate(folder, {"--format", "cl3-indexed", "--columns", "6", "--rows", "5"});
    const std::string scan = folder / "scan.cl3";
    const std::vector<std::string> commands[] = {
        {"convert", scan, folder / "b.cl3"},
        {"convert", scan, folder / "b.ply"},
        {"repair", scan, folder / "c.cl3"},
        {"panorama", scan, "-o", folder / "d.png"},
        {"view", scan, "-o", folder / "d.html"},
        {"simulate", folder.path().string(), "--name", "e", "--series", "2", "--columns", "6"},
    };
    for (std::vector<std::string> command : commands) {
        const ToolRun first = run(command);
        ASSERT_EQ(first.code, 0) << first.err;
        const auto before = contentsOf(folder);
        const ToolRun again = run(command);
        EXPECT_EQ(again.code, 4) << command.front();
        EXPECT_TRUE(contains(again.err, "--overwrite")) << again.err;
        EXPECT_EQ(contentsOf(folder), before);
        command.push_back("--overwrite");
        EXPECT_EQ(run(command).code, 0) << command.front();
    }
}

}  // namespace
}  // namespace brisko::tool
