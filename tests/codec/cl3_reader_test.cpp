#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace brisko {
namespace {

using test::Bytes;
using test::ByteWriter;
using test::TempFolder;
using test::TestPoint;

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

TEST(CL3Reader, PassesOverEmptyBlocksAndUnmeasuredRecords) {
    const TempFolder folder;
    test::writeFile(folder / "scan.cl3", ByteWriter()
                                             .bytes(test::cl3Header(4))
                                             .bytes(test::cl3Block({}))
                                             .bytes(test::cl3Block({point(1), {}, point(2)}))
                                             .bytes(test::cl3Block({}))
                                             .bytes(test::cl3Block({{}, point(3)})));
    EXPECT_EQ(test::readScan<CL3Codec>(folder / "scan.cl3"),
              (std::vector<TestPoint>{point(1), point(2), point(3)}));
}

TEST(CL3Reader, ReadsPointFormat0AndRefusesOthers) {
    const TempFolder folder;
    ByteWriter bytes;
    bytes.bytes(test::cl3Header(1, 0)).u32(1).u8(0).f64(1).f64(2).f64(3).f32(4);
    test::writeFile(folder / "scan.cl3", bytes);
    EXPECT_EQ(test::readScan<CL3Codec>(folder / "scan.cl3"),
              (std::vector<TestPoint>{{.x = 1, .y = 2, .z = 3, .intensity = 4}}));
    for (const int format : {2, 3, 255}) {
        Bytes other = bytes;
        other[114] = static_cast<std::uint8_t>(format);
        test::writeFile(folder / "scan.cl3", other);
        EXPECT_TRUE(test::readScan<CL3Codec>(folder / "scan.cl3").empty());
    }
}

TEST(CL3Reader, ReadsBlocksLargerThanABatch) {
    const TempFolder folder;
    const auto many = points(1, 70'000);
    test::writeFile(folder / "scan.cl3", ByteWriter()
                                             .bytes(test::cl3Header(2))
                                             .bytes(test::cl3Block(many))
                                             .bytes(test::cl3Block(points(-3, 2))));
    const auto read = test::readScan<CL3Codec>(folder / "scan.cl3");
    ASSERT_EQ(read.size(), 70'002U);
    EXPECT_TRUE(std::equal(many.begin(), many.end(), read.begin()));
    EXPECT_EQ(read.back().x, -2);
}

/// A grid of 10 x 6 cells in tiles of 4: three tiles across, two down.
struct SmallTiles {
    SmallTiles() {
        ByteWriter scan, index;
        scan.bytes(test::cl3Header(6));
        index.bytes(test::ijHeader(10, 6, 4));
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
            scan.bytes(test::cl3Block(block));
            index.bytes(test::ijTile(tile / 2, tile % 2, entries));
        }
        scanBytes = scan;
        indexBytes = index;
        save();
    }
    void save() const {
        test::writeFile(path(), scanBytes);
        test::writeFile(folder / "scan.ij", indexBytes);
    }
    std::string path() const { return folder / "scan.cl3"; }

    TempFolder folder;
    Bytes scanBytes, indexBytes;
    std::vector<TestPoint> expected;
};

TEST(CL3Reader, PutsPointsIntoTheCellsOfTheIndex) {
    const SmallTiles scan;
    EXPECT_EQ(test::readScan<CL3GridCodec>(scan.path()), scan.expected);
    EXPECT_EQ(scan.expected[4].column, 5U);  // entry 5 of tile (1, 1)
    EXPECT_EQ(scan.expected[4].row, 5U);
    EXPECT_EQ(xOf(test::readScan<CL3Codec>(scan.path())), xOf(scan.expected));

    const auto codec = test::openScan<CL3GridCodec>(scan.path());
    unsigned columns = 0, rows = 0, tileSize = 0;
    codec->GetGridResolution(columns, rows, tileSize);
    EXPECT_EQ(columns, 10U);
    EXPECT_EQ(rows, 6U);
    EXPECT_EQ(tileSize, 4U);
}

TEST(CL3Reader, NeedsTheIndexForGridsOnly) {
    const SmallTiles scan;
    std::filesystem::remove(scan.folder / "scan.ij");
    EXPECT_EQ(test::openScan<CL3GridCodec>(scan.path()), nullptr);
    EXPECT_EQ(xOf(test::readScan<CL3Codec>(scan.path())), xOf(scan.expected));
}

TEST(CL3Reader, AnUnusableIndexEndsGridPassesOnly) {
    SmallTiles scan;
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
    };
    for (const auto& c : cases) {
        Bytes index = ByteWriter().bytes(test::ijHeader(10, 6, c.tileSize)).bytes(Bytes(952));
        index.resize(c.indexLength);
        test::writeFile(scan.folder / "scan.ij", index);
        EXPECT_TRUE(test::readScan<CL3GridCodec>(scan.path()).empty()) << c.what;
        EXPECT_EQ(test::readScan<CL3Codec>(scan.path()).size(), c.plainPoints) << c.what;
    }
}

/// Reads a CL3 file as its reader is described, record by record and without any care for time: bytes
/// that the files lack leave what was there, in the block header as in the batches.
class SlowReader {
public:
    SlowReader(const Bytes& scan, const Bytes* index) : m_scan(scan), m_index(index) {}

    std::vector<TestPoint> readAll() {
        m_scanAt = 115;
        const std::uint32_t blocks = number(m_scan, 110);
        if (m_index) {
            m_indexAt = 48;
            m_tileSize = number(*m_index, 44);
            m_across = (number(*m_index, 36) + m_tileSize - 1) / m_tileSize;
            m_down = (number(*m_index, 40) + m_tileSize - 1) / m_tileSize;
        }
        std::vector<TestPoint> all;
        std::uint32_t count = 0;
        for (std::uint32_t block = 0; block < blocks; ++block) {
            Bytes header(5);
            if (take(m_scan, m_scanAt, header, 5) >= 4) count = number(header, 0);
            for (std::uint32_t i = 0; i < count; ++i) {
                if (i % 65'536 == 0) takeRecords(std::min(65'536U, count - i));
                TestPoint p = record(i % 65'536);
                if (m_index && !nextCell(p.column, p.row)) return all;
                const bool measured = p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0;
                if (measured) all.push_back(p);
            }
        }
        return all;
    }

private:
    static std::uint32_t number(const Bytes& bytes, std::size_t at) {
        std::uint32_t value = 0;
        for (int i = 3; i >= 0; --i)
            value = value << 8 | bytes.at(at + static_cast<std::size_t>(i));
        return value;
    }
    static std::size_t take(const Bytes& from, std::size_t& at, Bytes& to, std::size_t size) {
        const std::size_t got = std::min(size, from.size() - std::min(at, from.size()));
        std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(std::min(at, from.size())), got,
                    to.begin());
        at += size;
        return got;
    }
    void takeRecords(std::uint32_t count) {
        const std::size_t left = m_scan.size() - std::min(m_scanAt, m_scan.size());
        const std::size_t whole = std::min<std::size_t>(count, left / 31);
        std::size_t at = m_scanAt;
        take(m_scan, at, m_records, 31 * whole);
        m_scanAt += std::size_t{31} * count;
    }
    TestPoint record(std::size_t i) const {
        CL3Point1 point;
        point.Decode(m_records.data() + 31 * i);
        return {point.GetX(),
                point.GetY(),
                point.GetZ(),
                point.GetIntensity(),
                point.GetRed(),
                point.GetGreen(),
                point.GetBlue(),
                0,
                0};
    }
    bool nextCell(std::uint32_t& column, std::uint32_t& row) {
        for (;;) {
            const std::uint32_t entries = m_tileSize * m_tileSize;
            if (m_entry == entries) {
                m_entry = 0;
                ++m_tile;
            }
            if (m_tile >= m_across * m_down) return false;
            if (m_entry == 0) {
                m_indexAt += 12;
                take(*m_index, m_indexAt, m_entries, 4 * entries);
            }
            const std::uint32_t entry = m_entry++;
            if (number(m_entries, 4 * entry) == 0) continue;
            column = m_tile / m_down * m_tileSize + entry / m_tileSize;
            row = m_tile % m_down * m_tileSize + entry % m_tileSize;
            return true;
        }
    }

    const Bytes& m_scan;
    const Bytes* m_index;
    std::size_t m_scanAt = 0, m_indexAt = 0;
    std::uint32_t m_tileSize = 0, m_across = 0, m_down = 0, m_tile = 0, m_entry = 0;
    Bytes m_records = Bytes(31 * 65'536);
    Bytes m_entries = Bytes(4 * 65'536);
};

TEST(CL3Reader, GoesOnWithTheLastBytesWhenAFileIsCut) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        SmallTiles scan;
        ByteWriter more;
        more.bytes(scan.scanBytes)
            .bytes(test::cl3Block(points(500, 5)))
            .bytes(test::cl3Block(points(600, 3), 9));
        Bytes bytes = more;
        bytes[110] = 9;  // one block more than there is
        bytes.resize(115 + random() % (bytes.size() - 114));
        scan.scanBytes = bytes;
        if (round % 3 == 0) scan.indexBytes.resize(48 + 4 * (random() % 110));
        scan.save();
        EXPECT_EQ(test::readScan<CL3GridCodec>(scan.path()),
                  SlowReader(scan.scanBytes, &scan.indexBytes).readAll());
        std::filesystem::remove(scan.folder / "scan.ij");
        const auto codec = test::openScan<CL3Codec>(scan.path());
        const auto expected = SlowReader(scan.scanBytes, nullptr).readAll();
        EXPECT_EQ(test::readAll(*codec), expected);
        EXPECT_EQ(test::readAllBatched(*codec, 3), expected);
    }
}

TEST(CL3Reader, AnIndexWithoutTilesHasNoPoints) {
    const TempFolder folder;
    test::writeFile(folder / "scan.cl3",
                    ByteWriter().bytes(test::cl3Header(1)).bytes(test::cl3Block({point(1)})));
    for (const std::uint32_t tileSize : {4U, 256U, 300U, 1000U}) {
        test::writeFile(folder / "scan.ij", test::ijHeader(3 * tileSize, 2 * tileSize, tileSize));
        EXPECT_TRUE(test::readScan<CL3GridCodec>(folder / "scan.cl3").empty()) << tileSize;
    }
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
        {"one point for ever", kMost, test::cl3Block({point(1)}, kMost), 1'048'577},
        {"no point for ever", kMost, test::cl3Block({{}}, kMost), 0},
        {"a block of its own for every repeat", kMost, test::cl3Block({point(1)}), 1'048'577},
    };
    const TempFolder folder;
    for (const auto& c : cases) {
        test::writeFile(folder / "scan.cl3",
                        ByteWriter().bytes(test::cl3Header(c.blocks)).bytes(c.rest));
        const auto codec = test::openScan<CL3Codec>(folder / "scan.cl3");
        EXPECT_LE(test::readAllBatched(*codec, 1000).size(), c.mostPoints) << c.what;
        EXPECT_EQ(test::readAllBatched(*codec, 1000).size() > 0, c.mostPoints > 0) << c.what;
    }
}

TEST(CL3Reader, BatchesGiveTheSamePointsWhateverTheirSize) {
    const SmallTiles scan;
    const auto codec = test::openScan<CL3GridCodec>(scan.path());
    const auto plain = test::openScan<CL3Codec>(scan.path());
    for (const std::size_t capacity : {1UL, 2UL, 9UL, 100UL}) {
        EXPECT_EQ(test::readAllBatched(*codec, capacity), scan.expected);
        EXPECT_EQ(test::readAllBatched(*plain, capacity), test::readAll(*plain));  // no cells
    }
    // Calls of both kinds move through one pass, and arrays may be left out.
    TestPoint first;
    ASSERT_TRUE(test::readFirst(*codec, first));
    PointBatchReader batches(*codec);
    std::vector<std::uint32_t> rows(4);
    EXPECT_EQ(batches.readNext({.rows = rows.data()}, 4), 4U);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(rows[i], scan.expected[i + 1].row);
    TestPoint sixth;
    ASSERT_TRUE(test::readNext(*codec, sixth));
    EXPECT_EQ(sixth, scan.expected[5]);
}

}  // namespace
}  // namespace brisko
