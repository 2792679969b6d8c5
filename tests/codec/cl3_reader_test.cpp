#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace brisko {
namespace {

using namespace test;

TestPoint point(double x, float intensity = 1) {
    return {.x = x, .y = 2 * x, .z = -x, .intensity = intensity, .red = 1, .green = 2, .blue = 3};
}

std::vector<TestPoint> points(int first, int count) {
    std::vector<TestPoint> made;
    for (int i = 0; i < count; ++i)
        made.push_back(point(first + i));
    return made;
}

std::vector<double> xOf(const std::vector<TestPoint>& all) {
    std::vector<double> xs;
    for (const TestPoint& p : all)
        xs.push_back(p.x);
    return xs;
}

TEST(CL3Reader, ReadsBlocksLargerThanABatch) {
    const TempFolder folder;
    const auto many = points(1, 70'000);
    writeFile(
        folder / "scan.cl3",
        ByteWriter().bytes(cl3Header(2)).bytes(cl3Block(many)).bytes(cl3Block(points(-3, 2))));
    const auto read = readScan<CL3Codec>(folder / "scan.cl3");
    ASSERT_EQ(read.size(), 70'002U);
    EXPECT_TRUE(std::equal(many.begin(), many.end(), read.begin()));
    EXPECT_EQ(read.back().x, -2);
}

/// A grid of 10 x 6 cells in tiles of 4: three tiles across, two down.
struct SmallTiles {
    SmallTiles() {
        ByteWriter scan, index;
        scan.bytes(cl3Header(6));
        index.bytes(ijHeader(10, 6, 4));
        for (std::uint32_t tile = 0; tile < 6; ++tile) {
            std::vector<std::uint32_t> entries(16, 0);
            std::vector<TestPoint> block;
            // Tile k has a point at entry 5, the odd ones another at entry 15.
            for (const std::uint32_t entry : {5U, 15U}) {
                if (entry == 15 && tile % 2 == 0) continue;
                block.push_back(point(100 * tile + entry));
                block.back().column = tile / 2 * 4 + entry / 4;
                block.back().row = tile % 2 * 4 + entry % 4;
                entries[entry] = static_cast<std::uint32_t>(block.size());
                expected.push_back(block.back());
            }
            scan.bytes(cl3Block(block));
            index.bytes(ijTile(tile / 2, tile % 2, entries));
        }
        scanBytes = scan;
        indexBytes = index;
        save();
    }
    void save() const {
        writeFile(path(), scanBytes);
        writeFile(folder / "scan.ij", indexBytes);
    }
    std::string path() const { return folder / "scan.cl3"; }

    TempFolder folder;
    Bytes scanBytes, indexBytes;
    std::vector<TestPoint> expected;
};

TEST(CL3Reader, PutsPointsIntoTheCellsOfTheIndex) {
    const SmallTiles scan;
    EXPECT_EQ(readScan<CL3GridCodec>(scan.path()), scan.expected);
    EXPECT_EQ(scan.expected[4].column, 5U);  // entry 5 of tile (1, 1)
    EXPECT_EQ(scan.expected[4].row, 5U);
    EXPECT_EQ(xOf(readScan<CL3Codec>(scan.path())), xOf(scan.expected));

    const auto codec = openScan<CL3GridCodec>(scan.path());
    unsigned columns = 0, rows = 0, tileSize = 0;
    codec->GetGridResolution(columns, rows, tileSize);
    EXPECT_EQ(columns, 10U);
    EXPECT_EQ(rows, 6U);
    EXPECT_EQ(tileSize, 4U);
}

TEST(CL3Reader, AnUnusableIndexEndsGridPassesOnly) {
    const SmallTiles scan;
    const struct {
        const char* what;
        std::uint32_t tileSize;
        std::size_t indexLength;
        std::size_t plainPoints;
    } cases[] = {
        {"tile size 0", 0, 1000, 9},
        {"tiles too large to count their entries", 65'536, 1000, 0},
        {"still larger", 0xFFFFFFFF, 1000, 0},
        {"an empty index", 4, 0, 9},
        {"a header cut before the tile size", 4, 47, 9},
        {"no tiles", 4, 48, 0},
        {"no tiles as large as those that are written", 256, 48, 0},
        {"no tiles that are larger", 1000, 48, 0},
    };
    for (const auto& c : cases) {
        Bytes index = ByteWriter().bytes(ijHeader(10, 6, c.tileSize)).bytes(Bytes(952));
        index.resize(c.indexLength);
        writeFile(scan.folder / "scan.ij", index);
        EXPECT_TRUE(readScan<CL3GridCodec>(scan.path()).empty()) << c.what;
        EXPECT_EQ(readScan<CL3Codec>(scan.path()).size(), c.plainPoints) << c.what;
    }
    std::filesystem::remove(scan.folder / "scan.ij");
    EXPECT_EQ(openScan<CL3GridCodec>(scan.path()), nullptr);
    EXPECT_EQ(xOf(readScan<CL3Codec>(scan.path())), xOf(scan.expected));
}

TEST(CL3Reader, EndsHoweverMuchAFileClaims) {
    constexpr std::uint32_t kMost = 0xFFFFFFFF;
    const struct {
        const char* what;
        std::uint32_t blocks;
        Bytes rest;
        std::size_t mostPoints;
    } cases[] = {
        {"nothing but a header", kMost, {}, 0},
        {"empty blocks", kMost, Bytes(50), 0},
        {"one point for ever", kMost, cl3Block({point(1)}, kMost), 1'048'577},
        {"no point for ever", kMost, cl3Block({{}}, kMost), 0},
        {"a block of its own for every repeat", kMost, cl3Block({point(1)}), 1'048'577},
    };
    const TempFolder folder;
    for (const auto& c : cases) {
        writeFile(folder / "scan.cl3", ByteWriter().bytes(cl3Header(c.blocks)).bytes(c.rest));
        const auto codec = openScan<CL3Codec>(folder / "scan.cl3");
        EXPECT_LE(readAllBatched(*codec, 1000).size(), c.mostPoints) << c.what;
        EXPECT_EQ(readAllBatched(*codec, 1000).size() > 0, c.mostPoints > 0) << c.what;
    }
}

/// A grid of 310 x 310 cells in tiles of 300, which have more entries than a batch and end inside a line.
/// Every third cell is empty, and some records hold no point.
struct LargeTiles {
    LargeTiles() {
        ByteWriter scan, index;
        scan.bytes(cl3Header(4));
        index.bytes(ijHeader(310, 310, 300));
        for (std::uint32_t tile = 0; tile < 4; ++tile) {
            std::vector<std::uint32_t> entries(300 * 300, 0);
            std::vector<TestPoint> block;
            for (std::uint32_t entry = 0; entry < entries.size(); ++entry) {
                if (random() % 3 == 0) continue;
                const bool isMeasured = random() % 500 != 0;
                block.push_back(isMeasured ? point(1 + entry % 1000) : TestPoint{});
                block.back().column = tile / 2 * 300 + entry / 300;
                block.back().row = tile % 2 * 300 + entry % 300;
                entries[entry] = static_cast<std::uint32_t>(block.size());
                if (isMeasured) expected.push_back(block.back());
            }
            scan.bytes(cl3Block(block));
            index.bytes(ijTile(tile / 2, tile % 2, entries));
        }
        writeFile(path(), scan);
        writeFile(folder / "scan.ij", index);
    }
    std::string path() const { return folder / "scan.cl3"; }

    std::mt19937 random{5};
    TempFolder folder;
    std::vector<TestPoint> expected;
};

TEST(CL3Reader, BatchesOfAnyLengthGiveThePointsOfThePass) {
    const LargeTiles scan;
    const auto codec = openScan<CL3GridCodec>(scan.path());
    ASSERT_EQ(readAll(*codec), scan.expected);
    for (const std::size_t capacity : {1U, 255U, 256U, 257U, 100'000U})
        EXPECT_EQ(readAllBatched(*codec, capacity), scan.expected) << capacity;
    // Where the files end early, in the scan first and then in the index.
    std::filesystem::resize_file(scan.path(), 115 + 31 * 150'000);
    for (const std::uintmax_t indexBytes : {4U * 300'000, 4U * 100'001}) {
        std::filesystem::resize_file(scan.folder / "scan.ij", indexBytes);
        const auto cut = readAll(*codec);
        const ReadProblem problem = getReadProblem(*codec);
        EXPECT_LT(cut.size(), scan.expected.size());
        EXPECT_TRUE(readAllBatched(*codec, 1000) == cut) << indexBytes;
        EXPECT_EQ(getReadProblem(*codec).kind, problem.kind);
        EXPECT_EQ(getReadProblem(*codec).offset, problem.offset);
    }
}

TEST(CL3Reader, CallsOfBothKindsMoveThroughOnePassAndArraysMayBeLeftOut) {
    const SmallTiles scan;
    const auto codec = openScan<CL3GridCodec>(scan.path());
    TestPoint first;
    ASSERT_TRUE(readFirst(*codec, first));
    PointBatchReader batches(*codec);
    std::vector<std::uint32_t> rows(4);
    EXPECT_EQ(batches.readNext({.rows = rows.data()}, 4), 4U);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(rows[i], scan.expected[i + 1].row);
    TestPoint sixth;
    ASSERT_TRUE(readNext(*codec, sixth));
    EXPECT_EQ(sixth, scan.expected[5]);
}

}  // namespace
}  // namespace brisko
