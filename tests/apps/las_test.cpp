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

Bytes u16s(std::initializer_list<unsigned> numbers) {
    Bytes bytes;
    for (const unsigned number : numbers) {
        bytes.push_back(static_cast<std::uint8_t>(number));
        bytes.push_back(static_cast<std::uint8_t>(number >> 8));
    }
    return bytes;
}

/// Points of units of 0.01 m from 500; with `fields`, numbers of 16 and 32 bits follow those of the format.
Bytes lasFile(int minor, std::uint8_t format, const std::vector<Bytes>& points,
              bool fields = false) {
    const unsigned header = minor == 4 ? 375 : 227, records = fields ? 54 + 384 : 2;
    const auto count = static_cast<std::uint32_t>(points.size());
    ByteWriter out;
    out.text("LASF", 24).u8(1).u8(static_cast<std::uint8_t>(minor)).text("", 68);
    out.bytes(u16s({header})).u32(header + records).u32(fields).u8(format);
    out.bytes(u16s({static_cast<unsigned>(points[0].size())})).u32(minor == 4 ? 0 : count);
    out.text("", 20);
    for (const double number : {0.01, 0.01, 0.01, 500.0, 500.0, 500.0})
        out.f64(number);
    out.text("", header - out.done().size());
    if (fields) {
        out.bytes(u16s({0})).text("LASF_Spec", 16).bytes(u16s({4, 384})).text("", 32);
        out.bytes({0, 0, 3, 0}).text("column", 188).bytes({0, 0, 5, 0}).text("row", 188);
    } else {
        out.bytes({0xDD, 0xCC});
    }
    Bytes bytes = out;
    if (minor == 4) bytes[247] = static_cast<std::uint8_t>(count);
    for (const Bytes& point : points)
        bytes.insert(bytes.end(), point.begin(), point.end());
    return bytes;
}

/// A record with three coordinates and an intensity, and what else stands where.
Bytes lasPoint(std::size_t size, std::size_t offset = 0, const Bytes& with = {}) {
    const Bytes head = ByteWriter().i32(100).i32(-200).i32(300).bytes(u16s({65535}));
    const Bytes point = patched(Bytes(size, 0x09), 0, head);
    return offset > 0 ? patched(point, offset, with) : point;
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
            const Bytes point = lasPoint(size + 3, colour, u16s({65535, 256, 1}));
            writeFile(folder / "a.las", lasFile(minor, format, {point, point}));
            const std::vector<CellPoint> points = readAll(folder / "a.las");
            ASSERT_EQ(points.size(), 2U);
            const CellPoint& p = points[1];
            EXPECT_EQ(std::tuple(p.x, p.y, p.z, p.intensity), std::tuple(501, 498, 503, 2200));
            EXPECT_EQ(std::tuple(p.red, p.green, p.blue),
                      colour > 0 ? std::tuple(255, 1, 0) : std::tuple(0, 0, 0));
            // Bounds, and returns 1 or 9, of which the last has no number before 1.4.
            EXPECT_EQ(checkScan(folder / "a.las", 1).notes.size(),
                      format < 6 || minor == 4 ? 4U : 3U);
        }
    }
}

TEST(Las, ScalesOfColourAndIntensityAndTheGridAreThoseOfTheWholeFile) {
    const TempFolder folder;
    const auto write = [&](unsigned largest) {
        std::vector<Bytes> points;
        for (const auto& [colour, column, row] :
             {std::tuple(7U, 300U, 5U), {largest, 2U, 70000U}, {9U, 4U, 0U}})
            points.push_back(
                lasPoint(32, 20, u16s({colour, 0, 0, column, row % 65536, row / 65536})));
        writeFile(folder / "a.las", lasFile(2, 2, points, true));
        return readAll(folder / "a.las", {.intensities = IntensityRange{65533, 65537}});
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
    const Bytes sound = lasFile(4, 7, {lasPoint(36), lasPoint(36)});
    const struct {
        std::size_t offset;
        Bytes with;
        const char* reason;
    } kCases[] = {
        {0, {'l'}, "not a LAS file"},
        {24, {2}, "version 2.4"},
        {25, {5}, "version 1.5"},
        {94, {0x76, 1}, "a header of 374 bytes; 375 are the least"},
        {96, {0x76, 1}, "begin at byte 374 of 449"},
        {96, {0xff, 0xff, 0xff, 0xff}, "begin at byte 4294967295 of 449"},
        {104, {11}, "point format 11"},
        {104, {0x87}, "laszip -i"},
        {105, {35, 0}, "point records of 35 bytes; format 7 takes 36"},
        {131, Bytes(8, 0), "scale or offset of x"},
        {139, notANumber(), "scale or offset of y"},
        {171, {0, 0, 0, 0, 0, 0, 0xf0, 0x7f}, "scale or offset of z"},
        {247, {3}, "3 points are announced, there is room for 2"},
        {247, Bytes(8, 0xff), "18446744073709551615 points are announced, there is room for 2"},
    };
    const TempFolder folder;
    const std::string path = folder / "a.las";
    const auto expectRefused = [&](const Bytes& bytes, const std::string& reason) {
        writeFile(path, bytes);
        for (const std::vector<std::string>& line : {std::vector<std::string>{"check", path},
                                                     {"info", path},
                                                     {"convert", path, path + ".ply"}}) {
            const ToolRun result = run(line);
            EXPECT_EQ(result.code, 3) << line[0] << reason;
            EXPECT_TRUE(contains(result.out + result.err, reason)) << result.out << result.err;
        }
    };
    for (const auto& [offset, with, reason] : kCases)
        expectRefused(patched(sound, offset, with), reason);
    expectRefused(cutTo(sound, 226), "too short");
    expectRefused(cutTo(sound, 448), "2 points are announced, there is room for 1");
    EXPECT_TRUE(contains(run({"info", folder / "a.laz"}).err, "laszip -i"));
    // What is announced beyond the points, or is not there, keeps nobody from reading.
    for (const auto& [offset, with] : {std::pair<std::size_t, Bytes>{100, Bytes(4, 0xff)},
                                       {235, Bytes(12, 0xff)},
                                       {235, {0xc1, 1, 0, 0, 0, 0, 0, 0, 9}}}) {
        writeFile(path, patched(sound, offset, with));
        EXPECT_EQ(readAll(path).size(), 2U);
    }
}

/// Cells are the same; coordinates and intensities as far as they were rounded.
void expectClose(const std::vector<CellPoint>& before, const std::vector<CellPoint>& after,
                 double precision) {
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        const CellPoint &a = before[i], &b = after[i];
        ASSERT_EQ(std::tuple(a.column, a.row, a.red, a.green, a.blue),
                  std::tuple(b.column, b.row, b.red, b.green, b.blue));
        ASSERT_LE(std::max({std::abs(a.x - b.x), std::abs(a.y - b.y), std::abs(a.z - b.z)}),
                  precision * 0.500001);
        ASSERT_LE(std::abs(a.intensity - b.intensity), 2200 / 65535.0F * 0.51F);
    }
}

TEST(Las, CellsColoursAndMissingReturnsComeBackFromBothVersions) {
    const TempFolder folder;
    writeTiledScan(folder, "a");
    const auto before = readAll(folder / "a.cl3");
    const auto moved =
        readAll(convert(folder / "a.cl3", folder / "moved.cl3", {"--apply-alignment"}));
    for (const auto& [option, value, precision] : {std::tuple("--las-version", "1.2", 1e-4),
                                                   {"--las-version", "1.4", 1e-4},
                                                   {"--precision", "0.000001", 1e-6}}) {
        SCOPED_TRACE(value);
        convert(folder / "a.cl3", folder / "a.las", {option, value});
        const ScanCheck check = checkScan(folder / "a.las", 1);
        EXPECT_TRUE(check.findings.empty() && check.notes.empty());
        const std::string info = run({"info", "--json", folder / "a.las"}).out;
        EXPECT_TRUE(contains(info, "\"columns\": 300") && contains(info, "\"text\": \"brisko 1."));
        expectClose(before, readAll(convert(folder / "a.las", folder / "b.cl3")), precision);
        const auto after = openScan(folder / "b.cl3");
        EXPECT_EQ(after->info().rows, 270U);
        EXPECT_EQ(std::to_array(after->info().alignment.matrix),
                  std::to_array(openScan(folder / "a.cl3")->info().alignment.matrix));
    }
    // Another program's name: the points may lie, and come, otherwise; then a cell that no grid has.
    const Bytes foreign = patched(readFile(folder / "a.las"), 58, {'X'});
    writeFile(folder / "c.las", foreign);
    expectClose(moved, readAll(convert(folder / "c.las", folder / "c.cl3")), 1e-6);
    writeFile(folder / "c.las", patched(foreign, foreign.size() - 4, {0, 2}));
    EXPECT_EQ(run({"check", folder / "c.las"}).code, 3);
    EXPECT_EQ(run({"convert", folder / "c.las", folder / "c.ply"}).code, 3);
    // Raw scans, which have no colours and whole numbers, come back to the last unit.
    convert(folder / "moved.cl3", folder / "raw.clr");
    EXPECT_EQ(readFile(convert(folder / "raw.clr", folder / "r.las"))[104], 0);
    EXPECT_EQ(pointsIn(folder / "raw.clr"), pointsIn(convert(folder / "r.las", folder / "r.clr")));
}

TEST(Las, WhatHasNoPlaceIsReportedOrRefused) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 2, "1 2 3 1.5\n300000 0 0 0.5\n"));
    const struct {
        std::string option, value;
        int code;
        const char* message;
    } kCases[] = {{"--precision", "0.0001", 4, "a greater --precision"},
                  {"--las-version", "1.3", 2, "version 1.3 of LAS is not written; 1.2 and 1.4"},
                  {"--intensity-range", "5:5", 2, "two numbers like 0:255"},
                  {"--precision", "0.001", 0, "1 point with an intensity that is not from 0 to"}};
    for (const auto& [option, value, code, message] : kCases) {
        const ToolRun result = run({"convert", folder / "a.ptx", folder / "a.las", option, value});
        EXPECT_EQ(result.code, code);
        EXPECT_TRUE(contains(result.err, message)) << result.err;
        EXPECT_EQ(std::filesystem::exists(folder / "a.las"), code == 0);
    }
    EXPECT_EQ(readAll(folder / "a.las")[1].x, 300000);
}

TEST(Las, RealFilesHoldWhatTheirHeadersSay) {
    const char* data = std::getenv("BRISKO_SCAN_DATA");
    if (!data) GTEST_SKIP() << "BRISKO_SCAN_DATA names no folder";
    for (const auto& [name, points] : {std::pair("geyser", 103773U),
                                       {"las/1.2-with-color", 1065U},
                                       {"las/1.0_1", 1U},
                                       {"las/extrabytes", 1065U},
                                       {"las/prec3", 110U},
                                       {"las/test1_4", 1000U},
                                       {"las/no-points", 0U}}) {
        const ScanCheck check = checkScan(std::string(data) + "/" + name + ".las", 1);
        EXPECT_TRUE(check.findings.empty() && check.notes.empty()) << name;
        EXPECT_EQ(check.points, points) << name;
    }
}

}  // namespace
}  // namespace brisko::scan
