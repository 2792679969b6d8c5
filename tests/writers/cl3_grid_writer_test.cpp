#include <brisko_codec/writers.h>

#include "layouts/ij_index.h"
#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace brisko {
namespace {

using namespace test;

struct Grid : GridFileHeader {
    Grid(std::size_t c, std::size_t r) : columns(c), rows(r) {}
    std::size_t GetAzimuthResolution() const override { return columns; }
    std::size_t GetZenithResolution() const override { return rows; }
    bool Read(const char*) override { return false; }
    std::size_t columns, rows;
};

void write(BaseWriterGridCodec& writer, std::uint32_t column, std::uint32_t row, double x = 1,
           float intensity = 1) {
    writer.WritePoint(x, 2, 3, intensity, 4, 5, 6, 7, column, row);
}

/// The cells that a scan holds, written by a function.
template <class Fill>
std::vector<TestPoint> written(std::size_t columns, std::size_t rows, const Fill& fill) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    CL3IJWriterGridCodec writer;
    Grid grid(columns, rows);
    EXPECT_TRUE(writer.Open(path.c_str(), &grid));
    fill(writer);
    EXPECT_TRUE(writer.Close());
    EXPECT_FALSE(writer.HasWriteError());
    return readScan<CL3GridCodec>(path);
}

TEST(CL3GridWriter, WritesThreeFilesAsPinned) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    CL3IJWriterGridCodec writer;
    Grid grid(2, 3);
    writer.Open(path.c_str(), &grid);
    double matrix[16] = {0, -1, 0, 10, 1, 0, 0, 20.5, 0, 0, 1, -0.125, 0, 0, 0, 1};
    writer.SetMatrixTransform(matrix);
    writer.SetMatrixTransform(nullptr);
    writer.WritePoint(1.0, -2.5, 0.1, 1999.5F, 10, 20, 30, 255, 1, 2);
    writer.WritePoint(-4, 8, 16, 1.0F, 0, 0, 0, 255, 0, 1);
    EXPECT_TRUE(writer.Close());

    const std::string zeros(2 * (32 - 7 + 46), '0');
    EXPECT_EQ(toHex(readFile(path)),
              toHex(fromHex("434c335f302e37" + zeros + "00000000 00000000" +
                            "00000000 00000000 0000b442 0000b442"  // 0 to 90 degrees
                            "00003442 0000f041"                    // steps of 45 and 30
                            "01000000 01"
                            "02000000 00"
                            "00000000000010c0 0000000000002040 0000000000003040 0000803f 000000"
                            "000000000000f03f 00000000000004c0 9a9999999999b93f 00f0f944 0a141e")));

    const Bytes index = readFile(folder / "scan.ij");
    ASSERT_EQ(index.size(), 48U + 262'156);
    EXPECT_EQ(toHex(cutTo(index, 60)), toHex(fromHex("434c335f494a5f302e32" + std::string(44, '0') +
                                                     "01000000 02000000 03000000 00010000"
                                                     "00000000 00000000 02000000")));
    // Column 0 row 1 is entry 1, column 1 row 2 is entry 258; all others are empty.
    for (std::size_t entry = 0; entry < 65'536; ++entry) {
        const int expected = entry == 1 ? 1 : entry == 258 ? 2 : 0;
        ASSERT_EQ(index[60 + 4 * entry], expected) << entry;
    }

    EXPECT_EQ(readText(folder / "scan.alg"),
              "CL3_ALG_0.1\n"
              "0.000000000000000000 -1.000000000000000000 0.000000000000000000 "
              "10.000000000000000000 //matrix 1\n"
              "1.000000000000000000 0.000000000000000000 0.000000000000000000 "
              "20.500000000000000000 //matrix 2\n"
              "0.000000000000000000 0.000000000000000000 1.000000000000000000 "
              "-0.125000000000000000 //matrix 3\n"
              "0.000000000000000000 0.000000000000000000 0.000000000000000000 "
              "1.000000000000000000 //matrix 4\n"
              "2200 // max intensity\n"
              "1 // min intensity\n"
              "1// block size\n"
              "1.000000000000000000 8.000000000000000000 16.000000000000000000 // max area\n"
              "-4.000000000000000000 -2.500000000000000000 0.100000000000000006 // min area\n");
}

TEST(CL3GridWriter, KeepsTheCellsInsideTheGridAndItsPadding) {
    using Cells = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
    const struct {
        const char* what;
        std::size_t columns, rows;
        Cells in, out;
    } cases[] = {
        {"a band that was written takes no more",
         600,
         10,
         {{0, 0}, {300, 1}, {10, 2}},
         {{0, 0}, {300, 1}}},
        {"rows of the padding are kept", 1, 300, {{0, 511}, {0, 512}}, {{0, 511}}},
        {"columns of the padding are kept", 300, 1, {{511, 0}, {512, 0}}, {{511, 0}}},
        {"a far column ends the scan", 300, 1, {{5, 0}, {100'000, 0}, {6, 0}}, {{5, 0}}},
        {"columns from 2^31 on are in bands that have passed",
         300,
         1,
         {{0x80000000, 0}, {1, 0}},
         {{1, 0}}},
        {"a grid without cells", 0, 0, {{0, 0}, {1, 1}}, {}},
        {"a grid of less than no columns", static_cast<std::size_t>(-1), 5, {{0, 0}}, {}},
        {"bands without points", 1100, 1, {{1050, 0}}, {{1050, 0}}},
    };
    for (const auto& c : cases) {
        const auto points = written(c.columns, c.rows, [&](CL3IJWriterGridCodec& writer) {
            for (const auto& [column, row] : c.in)
                write(writer, column, row);
            EXPECT_EQ(getDroppedPoints(writer).total(), c.in.size() - c.out.size()) << c.what;
        });
        Cells cells;
        for (const TestPoint& p : points)
            cells.emplace_back(p.column, p.row);
        EXPECT_EQ(cells, c.out) << c.what;
    }
}

TEST(CL3GridWriter, LaterPointsReplaceEarlierOnes) {
    const auto points = written(2, 2, [](CL3IJWriterGridCodec& writer) {
        write(writer, 0, 0, 11);
        write(writer, 0, 0, 12);
        write(writer, 0, 1, 13);
        writer.WritePoint(0, 0, 0, 0, 9, 9, 9, 255, 0, 1);  // counts as empty
        writer.WritePoint(NAN, 0, 0, 0, 0, 0, 0, 255, 1, 0);
        EXPECT_EQ(getDroppedPoints(writer).replaced, 2U);
        EXPECT_EQ(getDroppedPoints(writer).wouldReadAsEmpty, 1U);
    });
    ASSERT_EQ(points.size(), 2U);
    EXPECT_EQ(points[0].x, 12);
    EXPECT_TRUE(std::isnan(points[1].x));
}

TEST(CL3GridWriter, TallGridsWaitOnTheDiskInWhateverOrderTheirPointsCome) {
    constexpr std::uint32_t kRows = 60 * 256, kColumns = 100;  // over a quarter million wait
    const auto value = [](std::uint32_t column, std::uint32_t row) {
        return 1.0 + column * kRows + row;
    };
    for (const bool byColumns : {true, false}) {
        const auto points = written(300, kRows, [&](CL3IJWriterGridCodec& writer) {
            write(writer, 7, kRows - 2, -1);  // replaced below
            for (std::uint32_t i = 0; i < kColumns * kRows; ++i) {
                const std::uint32_t column = byColumns ? i / kRows : i % kColumns;
                const std::uint32_t row = byColumns ? i % kRows : i / kColumns;
                write(writer, column, row, value(column, row));
            }
            write(writer, 5, kRows - 1, -2);
            write(writer, 299, kRows - 1, -3);
        });
        ASSERT_EQ(points.size(), std::size_t{kColumns} * kRows + 1);
        std::size_t wrong = 0;
        for (const TestPoint& p : points)
            wrong += p.x != value(p.column, p.row);
        EXPECT_EQ(wrong, 2U);  // the two that came last
    }
}

TEST(CL3GridWriter, TheBoxTakesInDroppedPointsAndNaNsAsTheyCome) {
    const TempFolder folder;
    CL3IJWriterGridCodec writer;
    Grid grid(300, 1);
    writer.Open((folder / "scan.cl3").c_str(), &grid);
    writer.WritePoint(1, NAN, 5, 1, 0, 0, 0, 255, 0, 0);
    writer.WritePoint(100, 7, NAN, 1, 0, 0, 0, 255, 0, 999);
    writer.Close();
    const std::string text = readText(folder / "scan.alg");
    EXPECT_NE(text.find("100.000000000000000000 7.000000000000000000 nan // max area\n"
                        "1.000000000000000000 7.000000000000000000 nan // min area\n"),
              std::string::npos)
        << text;
}

TEST(CL3GridWriter, SurvivesMisuse) {
    const TempFolder folder;
    CL3IJWriterGridCodec writer;
    Grid huge(0x7FFFFFFF, 0x7FFFFFFF);
    EXPECT_FALSE(writer.Open((folder / "huge.cl3").c_str(), &huge));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const char* nowhere :
         {"", "no/such/dir/x"}) {       // a name without a companion, a missing folder
        Grid grid(0xFFFF00, 0xFFFF00);  // 2^32 tiles, and nowhere to write them
        EXPECT_TRUE(writer.Open(nowhere, &grid));
        write(writer, 0, 0);
        EXPECT_TRUE(writer.Close());
    }
    std::filesystem::current_path(before);
    EXPECT_TRUE(folder.names().empty());
    EXPECT_TRUE(writer.Open((folder / "none.cl3").c_str(), nullptr));
    EXPECT_TRUE(writer.Close());
    EXPECT_TRUE(readScan<CL3GridCodec>(folder / "none.cl3").empty());

    // The scan itself named like a companion: no other file may write into it.
    for (const char* name : {"scan.ij", "scan.alg"}) {
        Grid grid(1, 1);
        writer.Open((folder / name).c_str(), &grid);
        write(writer, 0, 0);
        EXPECT_TRUE(writer.Close());
        EXPECT_EQ(readFile(folder / name).size(), 115U + 5 + 31) << name;
    }
}

TEST(CL3GridWriter, OnAFullDiskScanAndIndexStillAgreeAndAnOlderAlignmentStays) {
    const std::uint64_t limits[] = {115, 118, 120, 120 + 31 * 100 + 5, 120 + 31 * 20'000 + 30};
    for (const std::uint64_t limit : limits) {
        const TempFolder folder;
        const std::string path = folder / "scan.cl3";
        writeFile(folder / "scan.alg", "the user's registration");
        CL3IJWriterGridCodec writer;
        {
            Grid grid(600, 256);
            writer.Open(path.c_str(), &grid);
            const FileSizeLimit full(std::max<std::uint64_t>(limit, 1));
            for (std::uint32_t column = 0; column < 600; ++column) {
                for (std::uint32_t row = 0; row < 256; ++row)
                    write(writer, column, row, column * 256 + row + 1);
            }
            EXPECT_TRUE(writer.Close());
        }
        EXPECT_TRUE(writer.HasWriteError());
        EXPECT_EQ(readText(folder / "scan.alg") == "the user's registration", limit <= 120);
        // Nothing comes out that was not written, and every point is in its own cell.
        for (const TestPoint& p : readScan<CL3GridCodec>(path)) {
            ASSERT_EQ(p.x, p.column * 256 + p.row + 1);
        }
    }
}

}  // namespace
}  // namespace brisko
