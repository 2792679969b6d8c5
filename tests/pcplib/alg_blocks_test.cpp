#include "pcplib/files/pt_cld_alg_file.h"

#include "support/file_size_limit.h"
#include "support/printed_by.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

AlgBlocks blocksWithAreas(std::size_t count) {
    AlgBlocks blocks;
    for (std::size_t i = 0; i < count; ++i) {
        const auto edge = static_cast<double>(i + 1);
        blocks.areas.push_back({.max = {edge, edge, edge}, .min = {-edge, -edge, -edge}});
    }
    return blocks;
}

std::string messageAbout(const std::string& operation, const std::string& path) {
    return operation + "() : \xcc\xa7\xb2\xd9[" + path +
           "]\x82\xaa\x8a\x4a\x82\xaf\x82\xdc\x82\xb9\x82\xf1\n";
}

TEST(AlgBlocks, ReadsTheAreasOfAsManyBlocksAsItHolds) {
    const TempFolder folder;
    AlgBlocks written = blocksWithAreas(3);
    written.header.blockSize = 12;
    ASSERT_TRUE(written.WriteALGFile(folder / "scan.alg"));
    EXPECT_FALSE(written.HasWriteError());
    EXPECT_EQ(written.blockCount, 3u);

    const struct {
        std::size_t areas, blockCount;
        bool done;
        std::size_t filled;
    } cases[] = {
        {3, 3, true, 3},  {2, 2, true, 2},
        {0, 0, true, 0},  {3, 2, true, 0},  // numbers that differ leave the areas alone
        {5, 5, false, 3},                   // the file describes three blocks only
    };
    for (const auto& [areas, blockCount, done, filled] : cases) {
        AlgBlocks blocks;
        blocks.areas.resize(areas);
        blocks.blockCount = blockCount;
        EXPECT_EQ(blocks.ReadALGFile(folder / "scan.alg"), done);
        EXPECT_EQ(blocks.header.blockSize, 12);
        for (std::size_t i = 0; i < areas; ++i) {
            const double edge = i < filled ? static_cast<double>(i + 1) : 0.0;
            EXPECT_EQ(blocks.areas[i].max[2], edge) << areas << " blocks, block " << i;
            EXPECT_EQ(blocks.areas[i].min[2], -edge) << areas << " blocks, block " << i;
        }
    }
}

TEST(AlgBlocks, AnEmptyPathMeansTheLastFileAndFullDisksAreRemembered) {
    const TempFolder folder;
    AlgBlocks blocks = blocksWithAreas(1000);
    {
        const FileSizeLimit limit(500);
        EXPECT_TRUE(blocks.WriteALGFile(folder / "scan.alg"));
    }
    EXPECT_TRUE(blocks.HasWriteError());
    EXPECT_EQ(blocks.GetALGFilePath(), folder / "scan.alg");
    blocks.header.blockSize = 5;
    EXPECT_TRUE(blocks.WriteALGFile());
    EXPECT_FALSE(blocks.HasWriteError());
    blocks.header.blockSize = 0;
    EXPECT_TRUE(blocks.ReadALGFile());
    EXPECT_EQ(blocks.header.blockSize, 5);
}

TEST(AlgBlocks, TellsWhichFileCannotBeOpened) {
    const TempFolder folder;
    const std::string path = folder / (std::string(200, 'a') + "/scan.alg");
    AlgBlocks blocks;
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(blocks.ReadALGFile(path)); }),
              messageAbout("ReadALGFile", path));
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(blocks.WriteALGFile(path)); }),
              messageAbout("WriteALGFile", path));
    EXPECT_TRUE(blocks.HasWriteError());
    EXPECT_EQ(blocks.GetALGFilePath(), "");
}

TEST(PartFileName, StandsBesideTheScanAndShowsPartsFromTheSecondOn) {
    const struct {
        const char *path, *extension;
        int part;
        const char* name;
    } cases[] = {
        {"/scans/hall.cl3", ".alg", 1, "/scans/hall.alg"},
        {"/scans/hall.cl3", ".alg", -3, "/scans/hall.alg"},
        {"/scans/hall.cl3", ".alg", 2, "/scans/hall_2.alg"},
        {"/scans/hall.cl3", ".ij", 12, "/scans/hall_12.ij"},
        {"hall.cl3", ".ix", 1, "hall.ix"},
        {"scan.v2/hall", ".alg", 2, "scan.v2/hall_2.alg"},
        {"hall.v2.cl3", ".alg", 2, "hall.v2_2.alg"},
    };
    for (const auto& [path, extension, part, name] : cases) {
        EXPECT_EQ(partFileName(path, extension, part), name);
    }
}

}  // namespace
}  // namespace QelPcpLib
