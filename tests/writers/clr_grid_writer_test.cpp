#include <brisko_codec/writers.h>

#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace brisko {
namespace {

using namespace test;

CLRFileHeader grid(int columns, int rows) {
    CLRFileHeader header;
    header.SetAzimuthResolution(columns);
    header.SetZenithResolution(rows);
    return header;
}

void write(BaseWriterGridCodec& writer, std::uint32_t column, std::uint32_t row, double x = 1) {
    writer.WritePoint(x, 0, 0, 1, 9, 9, 9, 255, column, row);
}

TEST(CLRWriter, WritesAFileAsPinned) {
    const TempFolder folder;
    const std::string path = folder / "scan.clr";
    CLRFileHeader header = grid(3, 4);
    CLRWriterGridCodec writer;
    EXPECT_TRUE(writer.Open(path.c_str(), &header));
    writer.WritePoint(1.23456789, -0.00037, 0, 1999.5F, 1, 2, 3, 255, 0, 0);
    writer.WritePoint(2, 0, 0, 2, 1, 2, 3, 255, 1, 0);
    writer.WritePoint(3, 0, 0, 3, 1, 2, 3, 255, 2, 3);
    EXPECT_TRUE(writer.Close());
    std::vector<ClrRecord> records(12);
    records[0] = {12346, -3, 0, 0, 2000};
    records[7] = {20000, 0, 0, 0, 2};  // column 1 is stored bottom-up
    records[11] = {30000, 0, 0, 0, 3};
    ByteWriter expected;
    expected.text("", 80).bytes(Bytes(24)).i32(3).i32(4).u32(1).u32(1).u8(0);
    expected.bytes(clrRecords(records));
    EXPECT_EQ(readFile(path), expected.done());
}

TEST(CLRWriter, TheFileHoldsTheGridAndColumnsBeyondIt) {
    const struct {
        const char* what;
        int columns, rows;
        std::vector<std::pair<std::uint32_t, std::uint32_t>> points;
        std::size_t columnsOnDisk, pointsRead;
    } cases[] = {
        {"nothing written", 600, 2, {}, 600, 0},
        {"one band", 100, 2, {{99, 1}}, 100, 1},
        {"whole bands", 512, 2, {{511, 1}}, 512, 1},
        {"the last point lies beyond the grid", 260, 2, {{0, 0}, {300, 0}}, 301, 1},
        {"far beyond", 10, 1, {{0, 0}, {1000, 0}}, 1001, 1},
        {"of a band that has passed", 600, 2, {{300, 0}, {5, 0}}, 600, 1},
        {"below the grid", 10, 2, {{0, 2}, {1, 2}, {1, 0xFFFFFFFF}}, 10, 0},
        {"no columns", 0, 2, {}, 0, 0},
        {"a lost point closes no band and adds no column", 600, 2, {{5, 0}, {900, 9}}, 600, 1},
        {"columns after that of the last point", 260, 2, {{300, 0}, {270, 0}}, 271, 0},
        {"no rows", 5, 0, {{1, 0}, {4'000'000'000, 0}}, 5, 0},
        {"a header that says less than nothing", -1, -1, {{0, 0}}, 1, 0},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        const std::string path = folder / "scan.clr";
        CLRFileHeader header = grid(c.columns, c.rows);
        CLRWriterGridCodec writer;
        EXPECT_TRUE(writer.Open(path.c_str(), &header));
        for (const auto& [column, row] : c.points)
            write(writer, column, row);
        EXPECT_TRUE(writer.Close());
        const std::size_t rows = static_cast<std::size_t>(std::max(c.rows, 0));
        EXPECT_EQ(readFile(path).size(), 121 + 20 * c.columnsOnDisk * rows) << c.what;
        EXPECT_EQ(readScan<CLRGridCodec>(path).size(), c.pointsRead) << c.what;
        EXPECT_EQ(getDroppedPoints(writer).total(), c.points.size() - c.pointsRead) << c.what;
    }
}

TEST(CLRWriter, FinishedColumnsAreTheSameAndTakeNoMorePoints) {
    const TempFolder folder;
    CLRFileHeader header = grid(600, 3);
    const auto writeAll = [&](const std::string& path, std::uint32_t step) {
        CLRWriterGridCodec writer;
        EXPECT_TRUE(writer.Open(path.c_str(), &header));
        for (std::uint32_t column = 0; column < 600; column += 7) {
            write(writer, column, column % 3, column);
            if (step != 0 && column % step == 0) writer.FinishColumns(column);
        }
        const bool accepts = writer.GetDroppedPoints().bandPassed == 0;
        write(writer, 589, 0, 9);  // of the band at hand, but finished where columns are
        EXPECT_TRUE(accepts);
        EXPECT_EQ(writer.GetDroppedPoints().bandPassed, step == 0 ? 0u : 1u);
        EXPECT_TRUE(writer.Close());
    };
    writeAll(folder / "one.clr", 1);
    EXPECT_EQ(readFile(folder / "one.clr").size(), 121u + 600 * 3 * 20);
    writeAll(folder / "band.clr", 0);
    Bytes band = readFile(folder / "band.clr");
    std::fill_n(band.begin() + 121 + (589 * 3 + 2) * 20, 20, std::uint8_t{0});
    EXPECT_EQ(readFile(folder / "one.clr"), band);
}

TEST(CLRWriter, LeavesCellsEmptyForWhatARecordCannotHold) {
    const TempFolder folder;
    const std::string path = folder / "scan.clr";
    CLRFileHeader header = grid(1, 4);
    CLRWriterGridCodec writer;
    writer.Open(path.c_str(), &header);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    write(writer, 0, 0, 5);
    write(writer, 0, 0, NAN);  // does not overwrite
    write(writer, 0, 1, kInfinity);
    writer.WritePoint(1, 1, 1, NAN, 0, 0, 0, 255, 0, 2);
    write(writer, 0, 3, 1e9);  // saturates
    writer.Close();
    EXPECT_EQ(getDroppedPoints(writer).notFinite, 3U);
    const auto points = readScan<CLRGridCodec>(path);
    ASSERT_EQ(points.size(), 2U);
    EXPECT_EQ(points[0].x, 5);
    EXPECT_EQ(points[1].x, 214748.3647);
}

TEST(CLRWriter, SurvivesMisuseAndFullDisks) {
    const TempFolder folder;
    CLRWriterGridCodec writer;
    EXPECT_TRUE(writer.Open("no/such/dir/scan.clr", nullptr));
    write(writer, 4'000'000'000U, 0);  // nothing to write to, so nothing to loop over
    EXPECT_TRUE(writer.Close());
    const std::string path = folder / "scan.clr";
    CLRFileHeader header = grid(100'000, 1000);
    {
        const FileSizeLimit limit(1 << 20);
        writer.Open(path.c_str(), &header);
        write(writer, 90'000, 0);
        EXPECT_TRUE(writer.Close());
        EXPECT_TRUE(writer.HasWriteError());
    }
    EXPECT_EQ(readFile(path).size(), 1U << 20);
    EXPECT_TRUE(readScan<CLRGridCodec>(path).empty());
}

template <class Writer>
class WriterCopies : public testing::Test {};
using AllWriters = testing::Types<CL3WriterCodec, CL3IJWriterGridCodec, CLRWriterGridCodec>;
TYPED_TEST_SUITE(WriterCopies, AllWriters);

TYPED_TEST(WriterCopies, ShareTheirFilesAndCompleteThemOnce) {
    const TempFolder folder;
    CLRFileHeader header = grid(1, 3);
    TypeParam writer;
    [[maybe_unused]] std::uint32_t row = 0;
    const auto writePoint = [&](TypeParam& one) {
        if constexpr (std::is_same_v<TypeParam, CL3WriterCodec>)
            one.WritePoint(1, 2, 3, 4, 0, 0, 0, 255);
        else
            one.WritePoint(1, 2, 3, 4, 0, 0, 0, 255, 0, row++ % 3);
    };
    writePoint(writer);  // nothing is open
    EXPECT_FALSE(writer.Close());
    for (const char* name : {"a", "b"}) {  // the second Open completes what is open
        EXPECT_TRUE(writer.Open((folder / name).c_str(), &header));
        writePoint(writer);
        TypeParam copy(writer);
        writePoint(copy);
        writer = copy;
        writePoint(writer);
        if (*name == 'a') continue;
        EXPECT_TRUE(copy.Close());
        writePoint(writer);
        EXPECT_FALSE(writer.Close());
        EXPECT_FALSE(writer.HasWriteError());
    }
    using Reader =
        std::conditional_t<std::is_same_v<TypeParam, CLRWriterGridCodec>, CLRCodec, CL3Codec>;
    for (const char* name : {"a", "b"})
        EXPECT_EQ(readScan<Reader>(folder / name).size(), 3U) << name;
    for (const char* nowhere : {"", "\xFF.cl3", "/"}) {
        EXPECT_EQ(writer.Open(nowhere, &header), (!std::is_same_v<TypeParam, CL3WriterCodec>));
        EXPECT_TRUE(writer.HasWriteError());
        writer.Close();
    }
}

}  // namespace
}  // namespace brisko
