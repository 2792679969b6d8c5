#include "apps/damaged_scan.h"

#include <brisko_scan/check.h>
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

/// LAS files, built here byte by byte or written by the library.
namespace brisko::scan {
namespace {

using namespace brisko::test;

/// What is put into a file; coordinates are units of 0.01 m from 500.
struct LasParts {
    int minor = 2;
    std::uint8_t format = 0;
    std::vector<std::string> fields = {};  // named after their type: "u16 column"
    std::vector<Bytes> points = {};
    Bytes gap = {};  // between the header and the points
};

Bytes u16s(std::initializer_list<unsigned> numbers) {
    Bytes bytes;
    for (const unsigned number : numbers) {
        bytes.push_back(static_cast<std::uint8_t>(number));
        bytes.push_back(static_cast<std::uint8_t>(number >> 8));
    }
    return bytes;
}

Bytes lasFile(const LasParts& parts) {
    const std::size_t header = parts.minor == 4 ? 375 : 227;
    ByteWriter records;
    if (!parts.fields.empty()) {
        records.bytes(u16s({0})).text("LASF_Spec", 16);
        records.bytes(u16s({4, static_cast<unsigned>(192 * parts.fields.size())})).text("", 32);
    }
    for (const std::string& field : parts.fields) {
        const std::uint8_t type = field.starts_with("u16") ? 3 : 5;
        records.bytes({0, 0, type, 0}).text(field.substr(4), 188);
    }
    records.bytes(parts.gap);
    const auto count = static_cast<std::uint32_t>(parts.points.size());
    const std::size_t size = parts.points.empty() ? 67 : parts.points[0].size();
    ByteWriter out;
    out.text("LASF", 24).u8(1).u8(static_cast<std::uint8_t>(parts.minor)).text("", 68);
    out.bytes(u16s({static_cast<unsigned>(header)}));
    out.u32(static_cast<std::uint32_t>(header + records.done().size()));
    out.u32(parts.fields.empty() ? 0 : 1).u8(parts.format);
    out.bytes(u16s({static_cast<unsigned>(size)})).u32(parts.minor == 4 ? 0 : count).text("", 20);
    for (const double number : {0.01, 0.01, 0.01, 500.0, 500.0, 500.0})
        out.f64(number);
    out.text("", header - out.done().size());
    Bytes bytes = out.bytes(records);
    if (parts.minor == 4) bytes[247] = static_cast<std::uint8_t>(count);
    for (const Bytes& point : parts.points)
        bytes.insert(bytes.end(), point.begin(), point.end());
    return bytes;
}

/// A record with three coordinates and an intensity, and what else stands where.
Bytes lasPoint(std::size_t size, std::size_t offset = 0, const Bytes& with = {}) {
    const Bytes head = ByteWriter().i32(100).i32(-200).i32(300).bytes(u16s({65535}));
    Bytes point = patched(Bytes(size, 0x09), 0, head);
    return patched(std::move(point), offset, offset > 0 ? with : head);
}

std::vector<CellPoint> read(const std::string& path, const ReadOptions& options = {}) {
    const auto input = openScan(path, options);
    std::vector<CellPoint> all, some;
    for (input->read(some); !some.empty(); input->read(some))
        all.insert(all.end(), some.begin(), some.end());
    EXPECT_EQ(all.size(), input->info().records);
    return all;
}

TEST(Las, EveryPointFormatIsReadFromItsOwnOffsets) {
    constexpr struct {
        std::uint8_t format;
        std::size_t size, colour;
    } kFormats[] = {{0, 20, 0}, {1, 28, 0},  {2, 26, 20}, {3, 34, 28}, {4, 57, 0},  {5, 63, 28},
                    {6, 30, 0}, {7, 36, 30}, {8, 38, 30}, {9, 59, 0},  {10, 67, 30}};
    const TempFolder folder;
    for (const auto& [format, size, colour] : kFormats) {
        for (const int minor : {0, 2, 4}) {
            SCOPED_TRACE(testing::Message() << "1." << minor << ", format " << int{format});
            // Two records of three surplus bytes each.
            const Bytes point = lasPoint(size + 3, colour, u16s({65535, 256, 1}));
            writeFile(folder / "a.las", lasFile({minor, format, {}, {point, point}, {0xCC, 0xDD}}));
            const std::vector<CellPoint> points = read(folder / "a.las");
            ASSERT_EQ(points.size(), 2U);
            const CellPoint& p = points[1];
            EXPECT_EQ(std::tuple(p.x, p.y, p.z, p.intensity), std::tuple(501, 498, 503, 2200));
            EXPECT_EQ(std::tuple(p.red, p.green, p.blue),
                      colour > 0 ? std::tuple(255, 1, 0) : std::tuple(0, 0, 0));
            const ScanCheck check = checkScan(folder / "a.las", 10);
            EXPECT_TRUE(check.findings.empty() && check.points == 2);
            // Bounds, and returns 1 or 9, of which the last has no number before 1.4.
            EXPECT_EQ(check.notes.size(), format < 6 || minor == 4 ? 4U : 3U);
        }
    }
}

TEST(Las, ScalesOfColourAndIntensityAndTheGridAreThoseOfTheWholeFile) {
    const TempFolder folder;
    const auto write = [&](unsigned largest) {
        LasParts parts{2, 2, {"u16 column", "u32 row"}, {}, {}};
        for (const auto& [colour, column, row] :
             {std::tuple(7U, 300U, 5U), {largest, 2U, 70000U}, {9U, 4U, 0U}}) {
            const Bytes cell = u16s({colour, 0, 0, column, row % 65536, row / 65536});
            parts.points.push_back(lasPoint(32, 20, cell));
        }
        writeFile(folder / "a.las", lasFile(parts));
        return read(folder / "a.las", {.intensities = IntensityRange{65533, 65537}});
    };
    EXPECT_EQ(write(255)[1].red, 255);
    const std::vector<CellPoint> points = write(256);
    EXPECT_EQ(std::tuple(points[0].red, points[1].red, points[2].red), std::tuple(0, 1, 0));
    EXPECT_EQ(std::tuple(points[1].column, points[1].row), std::tuple(2, 70000));
    EXPECT_EQ(points[0].intensity, 1100);
    const auto input = openScan(folder / "a.las");
    EXPECT_EQ(std::tuple(input->info().columns, input->info().rows, input->info().bandColumns),
              std::tuple(301, 70001, 512));
}

TEST(Las, WhatCannotBeReadIsRefusedWithTheReason) {
    const Bytes sound = lasFile({4, 7, {}, {lasPoint(36), lasPoint(36)}, {}});
    const Bytes infinite = {0, 0, 0, 0, 0, 0, 0xf0, 0x7f};
    const struct {
        std::size_t offset;
        Bytes with;
        const char* reason;
    } kCases[] = {
        {0, {'l'}, "not a LAS file"},
        {24, {2}, "version 2.4"},
        {25, {5}, "version 1.5"},
        {94, {0x76, 1}, "a header of 374 bytes; 375 are the least"},
        {96, {0x76, 1}, "begin at byte 374 of 447"},
        {96, {0xff, 0xff, 0xff, 0xff}, "begin at byte 4294967295 of 447"},
        {104, {11}, "point format 11"},
        {104, {0x87}, "laszip -i"},
        {105, {35, 0}, "point records of 35 bytes; format 7 takes 36"},
        {131, Bytes(8, 0), "scale or offset of x"},
        {139, notANumber(), "scale or offset of y"},
        {171, infinite, "scale or offset of z"},
        {247, {3}, "3 points are announced, there is room for 2"},
        {247, Bytes(8, 0xff), "18446744073709551615 points are announced, there is room for 2"},
    };
    const TempFolder folder;
    const std::string path = folder / "a.las";
    const auto expectRefused = [&](const Bytes& bytes, const std::string& reason) {
        SCOPED_TRACE(reason);
        writeFile(path, bytes);
        for (const char* command : {"check", "info"}) {
            const ToolRun result = run({command, path});
            EXPECT_EQ(result.code, 3);
            EXPECT_TRUE(contains(result.out + result.err, reason)) << result.out << result.err;
        }
        try {
            openScan(path);
            ADD_FAILURE();
        } catch (const ScanError& error) {
            EXPECT_EQ(error.kind(), ErrorKind::Damaged);
            EXPECT_TRUE(contains(error.what(), reason)) << error.what();
        }
    };
    for (const auto& [offset, with, reason] : kCases)
        expectRefused(patched(sound, offset, with), reason);
    expectRefused(cutTo(sound, 226), "too short");
    expectRefused(cutTo(sound, 446), "2 points are announced, there is room for 1");
    const ToolRun laz = run({"info", folder / "a.laz"});
    EXPECT_TRUE(laz.code == 2 && contains(laz.err, "laszip -i")) << laz.err;

    // What is announced beyond the points, or is not there, keeps nobody from reading.
    for (const auto& [offset, with] : {std::pair<std::size_t, Bytes>{100, Bytes(4, 0xff)},
                                       {235, Bytes(12, 0xff)},
                                       {235, {0xbf, 1, 0, 0, 0, 0, 0, 0, 9}}}) {
        writeFile(path, patched(sound, offset, with));
        EXPECT_EQ(read(path).size(), 2U);
    }
    writeFile(path, lasFile({}));
    EXPECT_TRUE(read(path).empty());
    EXPECT_TRUE(checkScan(path, 1).notes.empty());
}

/// Cells are the same; coordinates and intensities as far as they were rounded.
void expectClose(const std::vector<CellPoint>& before, const std::vector<CellPoint>& after,
                 double precision) {
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        const CellPoint &a = before[i], &b = after[i];
        ASSERT_EQ(std::tuple(a.column, a.row, a.red, a.green, a.blue),
                  std::tuple(b.column, b.row, b.red, b.green, b.blue));
        const double error =
            std::max({std::abs(a.x - b.x), std::abs(a.y - b.y), std::abs(a.z - b.z)});
        ASSERT_LE(error, precision * 0.500001);
        ASSERT_LE(std::abs(a.intensity - b.intensity), 2200 / 65535.0F * 0.51F);
    }
}

TEST(Las, CellsColoursAndMissingReturnsComeBackFromBothVersions) {
    const TempFolder folder;
    writeTiledScan(folder, "a");
    convert(folder / "a.cl3", folder / "moved.cl3", {"--apply-alignment"});
    const std::vector<CellPoint> before = read(folder / "moved.cl3");
    for (const auto& [options, version, precision] :
         {std::tuple(std::vector<std::string>{}, "1.2", 1e-4),
          {{"--las-version", "1.4"}, "1.4", 1e-4},
          {{"--precision", "0.000001"}, "1.2", 1e-6}}) {
        SCOPED_TRACE(testing::PrintToString(options));
        convert(folder / "a.cl3", folder / "a.las", options);
        const ScanCheck check = checkScan(folder / "a.las", 1);
        EXPECT_TRUE(check.findings.empty() && check.notes.empty());
        EXPECT_TRUE(contains(run({"info", folder / "a.las"}).out,
                             named("grid       300 columns x 270 rows\n  version    ", version)));
        convert(folder / "a.las", folder / "b.cl3");
        EXPECT_EQ(openScan(folder / "b.cl3")->info().rows, 270U);
        expectClose(before, read(folder / "b.cl3"), precision);
        convert(folder / "a.las", folder / "b.ptx");  // columns one by one
    }
    // Another program's name, and the points may come in another order.
    const Bytes foreign = patched(readFile(folder / "a.las"), 58, {'X'});
    writeFile(folder / "c.las", foreign);
    expectClose(before, read(convert(folder / "c.las", folder / "c.cl3")), 1e-6);
    // A cell that no grid has.
    const std::size_t end = foreign.size();
    writeFile(folder / "d.las", patched(foreign, end - 4, {0, 2}));
    EXPECT_EQ(run({"check", folder / "d.las"}).code, 3);
    EXPECT_EQ(run({"convert", folder / "d.las", folder / "d.ply"}).code, 3);
}

TEST(Las, RawScansComeBackToTheLastUnit) {
    const TempFolder folder;
    writeTiledScan(folder, "a");
    convert(folder / "a.cl3", folder / "raw.clr", {"--apply-alignment"});
    convert(folder / "raw.clr", folder / "a.las");
    EXPECT_EQ(readFile(folder / "a.las")[104], 0);  // no place for colours that there are not
    convert(folder / "a.las", folder / "b.clr");
    EXPECT_EQ(pointsIn(folder / "raw.clr"), pointsIn(folder / "b.clr"));
}

TEST(Las, WhatHasNoPlaceIsReportedOrRefused) {
    const TempFolder folder;
    const std::string ptx = folder / "a.ptx", las = folder / "a.las";
    writeFile(ptx, ptxText(1, 2, "1 2 3 1.5\n300000 0 0 0.5\n"));
    const auto expectFailure = [&](std::vector<std::string> more, int code, const char* message) {
        more.insert(more.begin(), {"convert", ptx, las});
        const ToolRun result = run(more);
        EXPECT_EQ(result.code, code);
        EXPECT_TRUE(contains(result.err, message)) << result.err;
        EXPECT_FALSE(std::filesystem::exists(las));
    };
    expectFailure({}, 4, "a greater --precision");
    expectFailure({"--las-version", "1.3"}, 2, "version 1.3 of LAS is not written; 1.2 and 1.4");
    expectFailure({"--intensity-range", "5:5"}, 2, "two numbers like 0:255");
    const ToolRun rounded = run({"convert", ptx, las, "--precision", "0.001"});
    EXPECT_EQ(rounded.code, 0);
    EXPECT_TRUE(contains(rounded.err, "1 point with an intensity that is not from 0 to 2200"));
    EXPECT_EQ(read(las)[1].x, 300000);
}

TEST(Las, RealFilesHoldWhatTheirHeadersSay) {
    const char* data = std::getenv("BRISKO_SCAN_DATA");
    if (!data) GTEST_SKIP() << "BRISKO_SCAN_DATA names no folder";
    for (const auto& [name, points, notes] : {std::tuple("geyser", 103773U, 0U),
                                              {"las/1.2-with-color", 1065U, 0U},
                                              {"las/1.0_1", 1U, 0U},
                                              {"las/extrabytes", 1065U, 0U},
                                              {"las/prec3", 110U, 0U},
                                              {"las/test1_4", 1000U, 0U},
                                              {"las/no-points", 0U, 0U}}) {
        const ScanCheck check = checkScan(std::string(data) + "/" + name + ".las", 1);
        EXPECT_TRUE(check.findings.empty()) << name;
        EXPECT_EQ(check.points, points) << name;
        EXPECT_EQ(check.notes.size(), notes) << name << testing::PrintToString(check.notes);
    }
}

}  // namespace
}  // namespace brisko::scan
