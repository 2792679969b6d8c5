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

TEST_F(CellReader, OpensIndexedScansOnly) {
    CL3CellReader reader;
    CellPoint point;
    std::vector<CellPoint> points;
    for (const std::string& bad : {m_folder / "missing.cl3", m_folder / "scan", std::string()})
        EXPECT_FALSE(reader.open(bad.c_str()));
    EXPECT_FALSE(reader.open(nullptr));
    EXPECT_EQ(reader.readCell(0, 0, point), CellState::Empty);
    EXPECT_EQ(reader.readWindow({0, 1, 0, 1}, points), CellState::Empty);
    std::filesystem::remove(m_folder / "scan.ij");
    EXPECT_FALSE(reader.open(path().c_str()));
    EXPECT_EQ(reader.columns(), 0U);
}

}  // namespace
}  // namespace brisko
