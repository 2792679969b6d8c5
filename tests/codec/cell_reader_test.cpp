#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace brisko {
namespace {

using namespace test;

/// A scan of several tiles both ways with a third of its cells empty.
class CellReader : public testing::Test {
protected:
    static constexpr std::uint32_t kColumns = 520, kRows = 300;

    void SetUp() override {
        CL3IJWriterGridCodec writer;
        CLRFileHeader header;
        header.SetAzimuthResolution(kColumns);
        header.SetZenithResolution(kRows);
        writer.Open(path().c_str(), &header);
        double matrix[16] = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30, 0, 0, 0, 1};
        writer.SetMatrixTransform(matrix);
        std::mt19937 random(3);
        for (std::uint32_t column = 0; column < kColumns; ++column) {
            for (std::uint32_t row = 0; row < kRows; ++row) {
                if (random() % 3 == 0) continue;
                writer.WritePoint(column, row, 1, 5, 1, 2, 3, 255, column, row);
            }
        }
        writer.WritePoint(1, 1, 1, 5, 1, 2, 3, 255, kColumns + 1, kRows + 100);  // padding
        writer.Close();
        for (const TestPoint& p : readScan<CL3GridCodec>(path()))
            m_points[{p.column, p.row}] = p;
    }
    std::string path() const { return m_folder / "scan.cl3"; }

    static bool same(const CellPoint& a, const TestPoint& b) {
        return TestPoint{a.x, a.y, a.z, a.intensity, a.red, a.green, a.blue, a.column, a.row} == b;
    }

    TempFolder m_folder;
    std::map<std::pair<std::uint32_t, std::uint32_t>, TestPoint> m_points;
};

TEST_F(CellReader, DeliversWindowsColumnByColumn) {
    CL3CellReader reader;
    ASSERT_TRUE(reader.open(path().c_str()));
    const CellWindow windows[] = {
        {0, kColumns, 0, kRows}, {250, 260, 250, 260}, {5, 6, 0, kRows},
        {500, 5000, 290, 5000},  {10, 10, 0, 5},       {7000, 8000, 0, 10},
    };
    std::vector<CellPoint> points(1);
    for (const CellWindow& w : windows) {
        const CellState state = reader.readWindow(w, points);
        auto found = points.begin();
        for (const auto& [cell, point] : m_points) {  // sorted by column, then row
            if (cell.first < w.firstColumn || cell.first >= w.endColumn) continue;
            if (cell.second < w.firstRow || cell.second >= w.endRow) continue;
            ASSERT_NE(found, points.end());
            ASSERT_TRUE(same(*found++, point));
        }
        EXPECT_EQ(found, points.end());
        EXPECT_EQ(state, points.empty() ? CellState::Empty : CellState::Point);
        if (w.endColumn == w.firstColumn) continue;
        CellPoint corner;  // and single cells are what windows are
        const bool isThere = m_points.contains({w.firstColumn, w.firstRow});
        EXPECT_EQ(reader.readCell(w.firstColumn, w.firstRow, corner),
                  isThere ? CellState::Point : CellState::Empty);
        EXPECT_TRUE(!isThere || same(corner, m_points[{w.firstColumn, w.firstRow}]));
    }
    CellPoint padding;
    ASSERT_EQ(reader.readCell(kColumns + 1, kRows + 100, padding), CellState::Point);
    EXPECT_EQ(padding.x, 9);
    reader.setFrame(Frame::Scanner);
    ASSERT_EQ(reader.readCell(kColumns + 1, kRows + 100, padding), CellState::Point);
    EXPECT_EQ(padding.x, 1);
}

TEST_F(CellReader, FillsArraysOfAnyLayoutAndUsesATableOfTilesMadeBefore) {
    struct Pixel {
        double position[3];
        float intensity;
        std::uint8_t colour[3], present;
    };
    CL3CellReader first, reader;
    CL3TileTable made, taken;
    ASSERT_TRUE(first.open(path().c_str()) && first.findTiles(made));
    const Bytes table = made.toBytes();
    EXPECT_FALSE(taken.fromBytes(table.data(), table.size() - 4));
    ASSERT_TRUE(taken.fromBytes(table.data(), table.size()));
    ASSERT_EQ(taken.tiles().size(), 6U);
    EXPECT_EQ(taken.tiles()[1].indexOffset, 48U + 12 + 4 * 65'536);
    EXPECT_EQ(taken.tiles()[1].scanOffset, 115U + 5 + 31 * taken.tiles()[0].points);
    ASSERT_TRUE(reader.open(path().c_str(), taken));

    const CellWindow windows[] = {{0, 520, 0, 300},     {250, 260, 250, 260}, {5, 6, 0, 300},
                                  {500, 800, 290, 700}, {0, 400, 100, 103},   {600, 602, 0, 5000}};
    for (const CellWindow& w : windows) {
        const std::ptrdiff_t columns = w.endColumn - w.firstColumn, rows = w.endRow - w.firstRow;
        std::vector<Pixel> pixels(static_cast<std::size_t>(columns * rows), Pixel{{7}, 7, {7}, 7});
        for (const bool rowByRow : {false, true}) {
            constexpr std::ptrdiff_t kSize = sizeof(Pixel);
            const std::ptrdiff_t column = rowByRow ? kSize : rows * kSize;
            const std::ptrdiff_t row = rowByRow ? columns * kSize : kSize;
            CellArrays arrays;
            arrays.positions = {pixels[0].position, column, row};
            arrays.intensities = {&pixels[0].intensity, column, row};
            arrays.colours = {pixels[0].colour, column, row};
            arrays.present = {&pixels[0].present, column, row};
            arrays.empty = {.coordinate = -1, .intensity = -2, .colour = 9};
            std::uint64_t count = 0, expected = 0;
            const CellState state = reader.readWindow(w, arrays, &count);
            for (std::uint32_t c = w.firstColumn; c < w.endColumn; ++c) {
                for (std::uint32_t r = w.firstRow; r < w.endRow; ++r) {
                    const std::ptrdiff_t offset =
                        (c - w.firstColumn) * column + (r - w.firstRow) * row;
                    const Pixel& p = pixels[static_cast<std::size_t>(offset / kSize)];
                    const auto found = m_points.find({c, r});
                    const bool isThere = found != m_points.end();
                    const TestPoint truth =
                        isThere ? found->second : TestPoint{-1, -1, -1, -2, 9, 9, 9, c, r};
                    const auto& [x, y, z] = p.position;
                    ASSERT_EQ((TestPoint{x, y, z, p.intensity, p.colour[0], p.colour[1],
                                         p.colour[2], c, r}),
                              truth);
                    ASSERT_EQ(p.present, isThere);
                    expected += isThere;
                }
            }
            EXPECT_EQ(count, expected);
            EXPECT_EQ(state, expected > 0 ? CellState::Point : CellState::Empty);
        }
    }
    std::filesystem::resize_file(path(), std::filesystem::file_size(path()) + 1);
    EXPECT_FALSE(reader.open(path().c_str(), taken)) << "a table of other files";
}

TEST_F(CellReader, ReportsPointsThatTheScanDoesNotHold) {
    CellPoint point;
    std::vector<CellPoint> points;
    // One more than the first block has: its record would lie in the next block.
    Bytes index = readFile(m_folder / "scan.ij");
    const auto [column, row] = m_points.begin()->first;
    std::copy_n(index.begin() + 48 + 8, 4, index.begin() + 60 + 4 * (256 * column + row));
    ++index[60 + 4 * (256 * column + row)];
    writeFile(m_folder / "scan.ij", index);
    CL3CellReader reader;
    ASSERT_TRUE(reader.open(path().c_str()));
    EXPECT_EQ(reader.readCell(column, row, point), CellState::Damaged);
    EXPECT_EQ(reader.readWindow({column, column + 1, row, row + 1}, points), CellState::Damaged);
    std::uint64_t count = 0;
    EXPECT_EQ(reader.readWindow({0, 600, 0, 500}, CellArrays(), &count), CellState::Damaged);
    EXPECT_EQ(count, m_points.size() - 1) << "all points but that one";

    std::filesystem::resize_file(m_folder / "scan.ij", 1000);
    ASSERT_TRUE(reader.open(path().c_str()));
    EXPECT_EQ(reader.readCell(kColumns - 1, kRows - 1, point), CellState::Damaged);
    EXPECT_EQ(reader.readWindow({0, kColumns, 0, kRows}, points), CellState::Damaged);

    // An index that announces 2^64 tiles and has none: windows of it end at once.
    constexpr std::uint32_t kMost = 0xFFFFFFFF;
    for (const std::uint32_t tileSize : {1U, 256U, 65'535U}) {
        test::writeFile(m_folder / "scan.ij", test::ijHeader(kMost, kMost, tileSize));
        ASSERT_TRUE(reader.open(path().c_str()));
        EXPECT_EQ(reader.readCell(kMost - 1, kMost - 1, point), CellState::Damaged);
        EXPECT_EQ(reader.readWindow({0, kMost, 0, kMost}, points), CellState::Damaged);
    }
}

}  // namespace
}  // namespace brisko
