#include "apps/damaged_scan.h"

#include <gtest/gtest.h>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;

/// Repairs a scan, which must succeed, leave the input alone and pass a check.
Json repair(const std::string& input, const std::string& output,
            const std::string& option = "--most=20") {
    const Bytes before = readFile(input);
    const ToolRun result = run({"repair", "--json", "--overwrite", input, output, option});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(readFile(input), before);
    EXPECT_EQ(run({"check", output}).code, 0) << run({"check", output}).out;
    return Json::parse(result.out);
}

class RepairTiled : public testing::Test {
protected:
    std::size_t at(std::size_t block, std::size_t record) const {
        return blocks[block] + 5 + 31 * record;
    }
    std::uint32_t count(std::size_t block) const { return wordAt(good.scan, blocks[block]); }

    /// The points of the sound scan without those of records (first, end) of a block.
    std::vector<CellTuple> without(std::size_t block, std::uint32_t first,
                                   std::uint32_t end) const {
        // Records of a tile stand column by column, as the sorted points of its cells do.
        const std::uint32_t firstColumn = block < 2 ? 0 : 256, firstRow = block % 2 == 0 ? 0 : 256;
        std::vector<CellTuple> kept;
        std::uint32_t record = 0;
        for (const CellTuple& point : all) {
            const bool inTile = std::get<0>(point) / 256 * 256 == firstColumn &&
                                std::get<1>(point) / 256 * 256 == firstRow;
            const bool lost = inTile && record >= first && record < end;
            record += inTile;
            if (!lost) kept.push_back(point);
        }
        return kept;
    }

    void write(const Bytes& scan, const Bytes& index) const {
        writeFile(folder / "a.cl3", scan);
        writeFile(folder / "a.ij", index);
    }

    const TempFolder folder;
    const ScanFiles good = writeTiledScan(folder, "a");
    const std::vector<CellTuple> all = pointsIn(folder / "a.cl3");
    const std::vector<std::size_t> blocks = blockOffsets(good.scan);
};

TEST_F(RepairTiled, KeepsEveryCellOnWhichIndexAndRecordsAgree) {
    const std::size_t tile1 = 48 + kTileBytes;
    std::vector<std::size_t> entries;  // of tile 1 that are one
    for (std::size_t offset = tile1 + 12; offset < tile1 + kTileBytes; offset += 4) {
        if (wordAt(good.index, offset) != 0) entries.push_back(offset);
    }
    Bytes gone = good.index;  // the words of points 11 to 20 of tile 1
    for (std::size_t i = 10; i < 20; ++i)
        gone = patched(gone, entries[i], {0, 0, 0, 0});
    const Bytes junk = {0xee, 0xff, 0xff, 0x7f};
    const struct {
        const char* what;
        Bytes scan, index;
        std::vector<CellTuple> expected;
        std::uint64_t lostCells;
    } cases[] = {
        {"sound", good.scan, good.index, all, 0},
        {"count of a block", patched(good.scan, blocks[1], junk), good.index, all, 0},
        {"another count", patched(good.scan, blocks[1], {7, 0, 0, 0}), good.index, all, 0},
        {"count of a tile", good.scan, patched(good.index, tile1 + 8, junk), all, 0},
        {"number of tiles", good.scan, patched(good.index, 32, {9}), all, 0},
        {"number of blocks", patched(good.scan, 110, {1}), good.index, all, 0},
        {"an entry", good.scan, patched(good.index, entries[4], junk), without(1, 4, 5), 1},
        {"entries gone", good.scan, gone, without(1, 10, 20), 0},
        {"not a number", patched(good.scan, at(1, 30), notANumber()), good.index,
         without(1, 30, 31), 1},
        {"cut in the last block", cutTo(good.scan, at(3, 100) + 30), good.index,
         without(3, 100, count(3)), count(3) - 100},
    };
    for (const auto& damaged : cases) {
        SCOPED_TRACE(damaged.what);
        write(damaged.scan, damaged.index);
        const Json told = repair(folder / "a.cl3", folder / "out.cl3");
        EXPECT_EQ(pointsIn(folder / "out.cl3"), damaged.expected);
        EXPECT_EQ(told["lostCells"], damaged.lostCells);
        EXPECT_EQ(told["losses"].empty(), damaged.what == std::string("sound") ||
                                              damaged.what == std::string("number of tiles") ||
                                              damaged.what == std::string("number of blocks"))
            << told;
        EXPECT_EQ(told["grid"], (Json{{"columns", 300}, {"rows", 270}}));
        double matrix[16];
        ASSERT_TRUE(readAlignmentFile((folder / "out.alg").c_str(), matrix));
        EXPECT_EQ(matrix[3], 10);
    }
}

TEST_F(RepairTiled, KeepsThePointsWhereTheIndexIsOfNoUse) {
    convert(folder / "a.cl3", folder / "part.cl3", {"--max-distance", "5"});
    for (const Bytes& index : {readFile(folder / "part.ij"), cutTo(good.index, 20),
                               patched(good.index, 44, {0, 0, 0, 0}),
                               patched(good.index, 36, {0xff, 0xff, 0xff, 0x7f})}) {
        write(good.scan, index);
        const TempFolder out;
        EXPECT_EQ(repair(folder / "a.cl3", out / "out.cl3")["losses"][0]["kind"], "index");
        EXPECT_EQ(pointsIn(out / "out.cl3"), withoutCells(all));
        EXPECT_EQ(out.names(), (std::vector<std::string>{"out.alg", "out.cl3"}));
    }
    // An index that was cut keeps what it has, unless the user wants the points rather.
    write(good.scan, cutTo(good.index, 48 + 2 * kTileBytes + 500));
    EXPECT_GT(repair(folder / "a.cl3", folder / "cells.cl3")["points"], count(0) + count(1));
    repair(folder / "a.cl3", folder / "plain.cl3", "--plain");
    EXPECT_EQ(pointsIn(folder / "plain.cl3"), withoutCells(all));
    // An alignment that cannot be read is a loss, and no obstacle.
    write(good.scan, good.index);
    writeFile(folder / "a.alg", "nothing");
    EXPECT_EQ(repair(folder / "a.cl3", folder / "out.cl3")["losses"][0]["kind"], "alignment");
    EXPECT_EQ(pointsIn(folder / "out.cl3"), all);
}

TEST(RepairPlain, FindsRecordsWhereBlockHeadersAreDamaged) {
    const TempFolder folder;
    std::vector<TestPoint> points;
    for (int i = 0; i < 40; ++i)
        points.push_back({1.1 + i * 0.37, -2.3 - i * 0.21, 0.7 + i * 0.13,
                          static_cast<float>(100 + i), 1, 2, 3});
    const auto part = [&](int first, int end) {
        return std::vector<TestPoint>(points.begin() + first, points.begin() + end);
    };
    const Bytes a = cl3Block(part(0, 10)), b = cl3Block(part(10, 25)), c = cl3Block(part(25, 40));
    const Bytes good = ByteWriter().bytes(cl3Header(3)).bytes(a).bytes(b).bytes(c);
    const std::size_t blockB = 115 + a.size(), blockC = blockB + b.size();
    const struct {
        const char* what;
        Bytes bytes;
        std::size_t expected;
        bool losses;
    } cases[] = {
        {"sound", good, 40, false},
        {"cut in a record", cutTo(good, blockC + 5 + 31 * 4 + 7), 29, true},
        {"cut in a block header", cutTo(good, blockC + 2), 25, true},
        {"cut between blocks", cutTo(good, blockC), 25, true},
        {"count too large for the file", patched(good, blockB, {0xff, 0xff, 0xff, 0x7f}), 40, true},
        {"count too large for the block", patched(good, blockB, {18, 0, 0, 0}), 40, true},
        {"count too small", patched(good, blockB, {9, 0, 0, 0}), 40, true},
        {"last count too large", patched(good, blockC, {99, 0, 0, 0}), 40, true},
        {"never closed", patched(patched(good, 110, {1}), blockC, {0, 0, 0, 0}), 40, true},
        {"more blocks than announced", patched(good, 110, {1}), 40, false},
        {"a record without numbers", patched(good, blockB + 5 + 31 * 3, notANumber()), 39, true},
        {"empty header behind", ByteWriter().bytes(good).u32(0).u8(0), 40, false},
        {"zeros at the end", patched(good, blockC, Bytes(c.size())), 25, true},
    };
    for (const auto& damaged : cases) {
        SCOPED_TRACE(damaged.what);
        writeFile(folder / "a.cl3", damaged.bytes);
        const Json told = repair(folder / "a.cl3", folder / "out.cl3");
        EXPECT_EQ(told["points"], damaged.expected);
        EXPECT_EQ(!told["losses"].empty(), damaged.losses) << told;
        std::vector<CellTuple> expected;
        for (const TestPoint& p : points)
            expected.emplace_back(0, 0, p.x, p.y, p.z, p.intensity);
        for (const CellTuple& point : pointsIn(folder / "out.cl3"))
            EXPECT_NE(std::find(expected.begin(), expected.end(), point), expected.end());
    }
}

TEST(RepairRaw, CutBlocksGoAsFarAsTheyGoAndTheRestIsEmpty) {
    const TempFolder folder;
    std::vector<ClrRecord> line;
    for (int i = 0; i < 300; ++i)
        line.push_back({10000 + 37 * i, 20000 - 91 * i, 300, 0, 100 + i});
    const Bytes lineBytes = compressedLine(line);
    ByteWriter lines, plain;
    lines.bytes(clrHeader(3, 300, 2, 2));
    plain.bytes(clrHeader(3, 2, 3, 2));
    for (int block = 0; block < 2; ++block) {
        lines.u8(0).bytes(lineBytes).bytes(lineBytes).bytes(lineBytes);
        plain.u8(0).bytes(clrRecords({6, ClrRecord{9, 8, 7, 6, 5}}));
    }
    const Bytes compressed = lines, records = plain;
    const std::size_t size = lineBytes.size(), block1 = 121 + 3 * size;
    const std::size_t secondPiece = 125 + wordAt(compressed, 121);
    const struct {
        const char* what;
        Bytes bytes;
        std::size_t points, blocks, bytesOut, lostCells;
    } cases[] = {
        {"sound", records, 12, 2, 362, 0},
        {"cut in a record", cutTo(records, 241 + 1 + 50), 8, 2, 362, 4},
        {"second block missing", cutTo(records, 241), 6, 1, 241, 0},
        {"more blocks announced", patched(records, 116, {7}), 12, 2, 362, 0},
        {"sound lines", compressed, 1800, 2, 0, 0},
        {"cut after a line", cutTo(compressed, block1 + 1 + size), 1200, 2, 0, 600},
        {"stream of a piece", patched(compressed, 121, {9}), 0, 0, 0, 0},
        {"length of a piece", patched(compressed, secondPiece + 2, {1}), 250, 1, 0, 650},
    };
    for (const auto& damaged : cases) {
        SCOPED_TRACE(damaged.what);
        writeFile(folder / "a.clr", damaged.bytes);
        if (damaged.points == 0) {  // nothing behind a wrong length is sound
            const ToolRun result = run({"repair", folder / "a.clr", folder / "none.clr"});
            EXPECT_EQ(result.code, 3);
            EXPECT_FALSE(std::filesystem::exists(folder / "none.clr"));
            continue;
        }
        const Json told = repair(folder / "a.clr", folder / "out.clr");
        EXPECT_EQ(told["points"], damaged.points);
        EXPECT_EQ(told["blocks"], damaged.blocks);
        EXPECT_EQ(told["lostCells"], damaged.lostCells);
        if (damaged.bytesOut != 0) {
            EXPECT_EQ(told["bytes"], damaged.bytesOut);
        }
    }
    // Whatever is cut off, the points before it stay.
    for (std::size_t cut = 121 + 40; cut < compressed.size(); cut += 997) {
        writeFile(folder / "a.clr", cutTo(compressed, cut));
        repair(folder / "a.clr", folder / "out.clr");
        const std::vector<CellTuple> points = pointsIn(folder / "out.clr");
        EXPECT_GE(points.size(), std::min<std::size_t>(900, (cut - 121) / size * 300));
        for (const CellTuple& point : points) {
            const std::uint32_t row =
                std::get<0>(point) % 2 == 1 ? 299 - std::get<1>(point) : std::get<1>(point);
            EXPECT_EQ(std::get<5>(point), static_cast<float>(100 + row));
        }
    }
}

}  // namespace
}  // namespace brisko::tool
