#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace brisko {
namespace {

using test::Bytes;
using test::TempFolder;
using test::TestPoint;

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
        for (const TestPoint& p : test::readScan<CL3GridCodec>(path()))
            m_points[{p.column, p.row}] = p;
    }
    std::string path() const { return m_folder / "scan.cl3"; }

    static bool same(const CellPoint& a, const TestPoint& b) {
        return TestPoint{a.x, a.y, a.z, a.intensity, a.red, a.green, a.blue, a.column, a.row} == b;
    }

    TempFolder m_folder;
    std::map<std::pair<std::uint32_t, std::uint32_t>, TestPoint> m_points;
};

TEST_F(CellReader, FindsEveryCellInAnyOrder) {
    CL3CellReader reader;
    ASSERT_TRUE(reader.open(path().c_str()));
    EXPECT_EQ(reader.columns(), kColumns);
    EXPECT_EQ(reader.rows(), kRows);
    std::mt19937 random(4);
    for (int i = 0; i < 20'000; ++i) {
        const auto column = static_cast<std::uint32_t>(random() % (kColumns + 300));
        const auto row = static_cast<std::uint32_t>(random() % (kRows + 300));
        CellPoint point;
        point.x = -1;
        const auto expected = m_points.find({column, row});
        const CellState state = reader.readCell(column, row, point);
        ASSERT_EQ(state == CellState::Point, expected != m_points.end()) << column << " " << row;
        if (state == CellState::Point) {
            ASSERT_TRUE(same(point, expected->second));
        } else {
            ASSERT_EQ(point.x, -1);
        }
    }
    CellPoint point;
    ASSERT_EQ(reader.readCell(kColumns + 1, kRows + 100, point), CellState::Point);
    reader.setFrame(Frame::Scanner);
    ASSERT_EQ(reader.readCell(kColumns + 1, kRows + 100, point), CellState::Point);
    EXPECT_EQ(point.x, 1);
}

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
    }
}

TEST_F(CellReader, ReportsPointsThatTheScanDoesNotHold) {
    const Bytes index = test::readFile(m_folder / "scan.ij");
    const Bytes scan = test::readFile(path());
    const auto cell = m_points.begin()->first;
    const std::size_t entry = 60 + 4 * (cell.first * 256 + cell.second);
    const auto state = [&](std::uint32_t column, std::uint32_t row) {
        CL3CellReader reader;
        if (!reader.open(path().c_str())) return CellState::Empty;
        CellPoint point;
        std::vector<CellPoint> points;
        const CellState one = reader.readCell(column, row, point);
        EXPECT_EQ(reader.readWindow({column, column + 1, row, row + 1}, points), one);
        return one;
    };
    EXPECT_EQ(state(cell.first, cell.second), CellState::Point);

    Bytes beyond = index;
    beyond[entry + 3] = 0xFF;
    test::writeFile(m_folder / "scan.ij", beyond);
    EXPECT_EQ(state(cell.first, cell.second), CellState::Damaged);

    test::writeFile(m_folder / "scan.ij", Bytes(index.begin(), index.begin() + 1000));
    EXPECT_EQ(state(kColumns - 1, kRows - 1), CellState::Damaged);

    test::writeFile(m_folder / "scan.ij", index);
    test::writeFile(path(), Bytes(scan.begin(), scan.begin() + 120));
    EXPECT_EQ(state(cell.first, cell.second), CellState::Damaged);

    // An index that announces 2^64 tiles and has none: windows of it end at once.
    constexpr std::uint32_t kMost = 0xFFFFFFFF;
    for (const std::uint32_t tileSize : {1U, 256U, 65'535U}) {
        test::writeFile(m_folder / "scan.ij", test::ijHeader(kMost, kMost, tileSize));
        EXPECT_EQ(state(kMost - 1, kMost - 1), CellState::Damaged);
        CL3CellReader reader;
        std::vector<CellPoint> points;
        ASSERT_TRUE(reader.open(path().c_str()));
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
