#include <brisko_codec/brisko_codec.h>

#include "support/conversion_fixture.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using namespace test;

/// A block: its flag and its records, in stored order.
struct Block {
    std::uint8_t flag;
    std::vector<ClrRecord> records;
};

Bytes scanOf(std::int32_t columns, std::int32_t rows, std::uint32_t format,
             const std::vector<Block>& blocks) {
    ByteWriter out;
    out.bytes(clrHeader(columns, rows, format, static_cast<std::uint32_t>(blocks.size())));
    for (const auto& [flag, records] : blocks) {
        out.u8(flag);
        if (format != 2) out.bytes(clrRecords(records));
        for (auto line = records.begin(); format == 2 && line != records.end(); line += rows)
            out.bytes(compressedLine({line, line + rows}));
    }
    return out;
}

TEST(CLRReader, TurnsOddLinesUnlessTheFormatIs3) {
    const TempFolder folder;
    const std::string path = folder / "scan.clr";
    std::vector<ClrRecord> records;
    for (int i = 1; i <= 6; ++i)
        records.push_back({12345 * i, -10'000, 5, 99, 10 * i});
    for (const std::uint32_t format : {0U, 1U, 2U, 3U}) {
        writeFile(path, scanOf(2, 3, format, {{0, records}}));
        const auto points = readScan<CLRGridCodec>(path);
        ASSERT_EQ(points.size(), 6U) << format;
        EXPECT_EQ(points[0], (TestPoint{1.2345, -1.0, 0.0005, 10, 0, 0, 0, 0, 0}));
        const std::uint32_t fourthRow = format == 3 ? 0 : 2;
        EXPECT_EQ(points[3], (TestPoint{4.938, -1.0, 0.0005, 40, 0, 0, 0, 1, fourthRow}));
        EXPECT_EQ(readScan<CLRCodec>(path).size(), 6U);
    }
}

TEST(CLRReader, MergesBlocksTheSameWayPlainAndCompressed) {
    constexpr std::int32_t kColumns = 23, kRows = 613;  // runs and pieces end anywhere in a line
    const TempFolder folder;
    const auto writeBoth = [&](RawSpec spec) {
        writeFile(folder / "plain.clr", rawScan(spec));
        spec.format = 2;
        writeFile(folder / "compressed.clr", rawScan(spec));
    };
    writeBoth({.blocks = 3, .columns = kColumns, .rows = kRows});
    const auto plain = openScan<CLRGridCodec>(folder / "plain.clr");
    const auto merged = readAll(*plain);
    EXPECT_EQ(readScan<CLRGridCodec>(folder / "compressed.clr"), merged);
    EXPECT_EQ(readAllBatched(*plain, 777), merged);

    EXPECT_GT(merged.size(), kColumns * kRows * 9 / 10);  // most cells are seen by some block

    // So many blocks that a window of the file for each would take too much memory.
    writeBoth({.blocks = 3000, .columns = 1, .rows = 1});
    EXPECT_EQ(readScan<CLRGridCodec>(folder / "compressed.clr"),
              readScan<CLRGridCodec>(folder / "plain.clr"));
    EXPECT_EQ(readScan<CLRGridCodec>(folder / "plain.clr").size(), 1U);
}

TEST(CLRReader, EndsHoweverMuchAFileClaims) {
    const TempFolder folder;
    const std::string path = folder / "scan.clr";
    const struct {
        const char* what;
        std::int32_t columns, rows;
        std::uint32_t format, blocks;
        std::size_t points;
    } cases[] = {
        {"a grid beyond all bounds", 0x7FFFFFFF, 0x7FFFFFFF, 1, 1, 5},
        {"and as many blocks", 0x7FFFFFFF, 0x7FFFFFFF, 0, 0xFFFFFFFF, 5},
        {"one cell a block", 1, 1, 3, 0xFFFFFFFF, 1},
        {"no columns", 0, 5, 1, 1, 0},
        {"negative columns", -5, 5, 1, 1, 0},
        {"negative both ways", -5, -5, 1, 1, 0},
        {"no blocks", 5, 5, 1, 0, 0},
        {"a format that is none", 5, 5, 4, 1, 0},
        {"compressed, beyond all bounds", 0x7FFFFFFF, 0x7FFFFFFF, 2, 0xFFFFFFFF, 0},
    };
    for (const auto& c : cases) {
        writeFile(path, ByteWriter()
                            .bytes(clrHeader(c.columns, c.rows, c.format, c.blocks))
                            .u8(0)
                            .bytes(clrRecords(std::vector<ClrRecord>(5, {70'000, 0, 0, 0, 1}))));
        EXPECT_EQ(readScan<CLRGridCodec>(path).size(), c.points) << c.what;
    }
    const auto codec = openScan<CLRGridCodec>(path);
    writeFile(path, clrHeader(-5, 7, 1, 1));
    TestPoint point;
    EXPECT_FALSE(readFirst(*codec, point));
    std::size_t columns = 0, rows = 0;
    unsigned tileSize = 1;
    codec->GetGridSize(columns, rows, tileSize);
    EXPECT_EQ(columns, static_cast<std::size_t>(-5));
    EXPECT_EQ(rows, 7U);
    EXPECT_EQ(tileSize, 0U);
}

}  // namespace
}  // namespace brisko
