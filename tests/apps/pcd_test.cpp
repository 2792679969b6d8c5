#include "apps/damaged_scan.h"

#include <brisko_scan/scan_error.h>
#include "scan/formats/pcd/lzf_stream.h"

#include <gtest/gtest.h>

/// PCD files, built here byte by byte or written by the library.
namespace brisko::scan {
namespace {

using namespace brisko::test;

constexpr std::size_t kPoints = 5000;
const std::string kKinds =
    "# any\nVERSION .7\nFIELDS _ x y z normal i rgb\nSIZE 1 8 2 4 4 1 4\nTYPE U F I F F U F\n"
    "COUNT 3 1 1 1 2 1 1\nWIDTH 5000\nHEIGHT 1\nVIEWPOINT 10 20 30 0.5 0 0 0.5\nPOINTS 5000\n";

/// The fields of a point of these kinds. One in seven is missing.
std::vector<Bytes> fieldsOf(std::uint32_t point) {
    const auto small = static_cast<std::uint8_t>(point % 200);
    return {{9, 9, 9},
            ByteWriter().f64(point * 0.5),
            {small, 0xff},  // -256 to -57
            ByteWriter().f32(point % 7 == 0 ? NAN : 0.25F),
            ByteWriter().f32(1).f32(2),
            {small},
            {small, 2, 1, 0xff}};
}

std::string textOf(std::uint32_t point) {
    const std::uint32_t small = point % 200;
    return "1 2\t3 " + std::to_string(point * 0.5) + "," +
           std::to_string(static_cast<int>(small) - 256) + (point % 7 == 0 ? " nan" : " 0.25") +
           " 1 2 " + std::to_string(small) + " " + std::to_string(0xff010200 | small) + "\r\n";
}

/// Runs of one byte as references to it, the others as they are; after both sizes.
Bytes packed(const Bytes& bytes) {
    Bytes out;
    for (std::size_t at = 0, end = 0; at < bytes.size(); at = end) {
        out.insert(out.end(), {0, bytes[at]});
        for (end = at + 1; end < bytes.size() && bytes[end] == bytes[at] && end - at < 265; ++end) {
        }
        const auto same = static_cast<std::uint8_t>(end - at - 10);
        if (end - at < 10) end = at + 1;
        if (end > at + 1) out.insert(out.end(), {0xE0, same, 0});
    }
    return ByteWriter()
        .u32(static_cast<std::uint32_t>(out.size()))
        .u32(static_cast<std::uint32_t>(bytes.size()))
        .bytes(out);
}

TEST(Pcd, FieldsOfAllKindsAreTheSameInAllThreeForms) {
    Bytes lines, records;
    std::vector<Bytes> fields(7);
    for (std::uint32_t point = 0; point < kPoints; ++point) {
        const std::string line = textOf(point);
        lines.insert(lines.end(), line.begin(), line.end());
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const Bytes value = fieldsOf(point)[i];
            records.insert(records.end(), value.begin(), value.end());
            fields[i].insert(fields[i].end(), value.begin(), value.end());
        }
    }
    Bytes columns;
    for (const Bytes& field : fields)
        columns.insert(columns.end(), field.begin(), field.end());
    const Bytes withoutPadding(columns.begin() + 3 * kPoints, columns.end());
    const TempFolder folder;
    for (const auto& [form, data] : {std::pair("ascii", lines),
                                     {"binary", records},
                                     {"binary_compressed", packed(columns)},
                                     {"binary_compressed", packed(withoutPadding)}}) {
        SCOPED_TRACE(form);
        const std::string header = kKinds + "DATA " + form + "\n";
        writeFile(folder / "a.pcd", ByteWriter().text(header, header.size()).bytes(data));
        const auto input = openScan(folder / "a.pcd", {.intensities = IntensityRange{0, 220}});
        EXPECT_NEAR(input->info().alignment.matrix[1], -1, 1e-15);  // a quarter turn
        EXPECT_EQ(input->info().alignment.matrix[11], 30);
        for (int pass = 0; pass < 2; ++pass, input->rewind()) {
            std::vector<CellPoint> points, some;
            for (input->read(some); !some.empty(); input->read(some))
                points.insert(points.end(), some.begin(), some.end());
            ASSERT_EQ(points.size(), kPoints - 715);
            for (std::size_t i = 0; i < points.size(); ++i) {
                const auto number = static_cast<int>(i / 6 * 7 + i % 6 + 1);
                const CellPoint& p = points[i];
                ASSERT_EQ(std::tuple(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue),
                          std::tuple(number / 2.0, number % 200 - 256, 0.25,
                                     10.0F * static_cast<float>(number % 200), 1, 2, number % 200));
            }
        }
    }
}

TEST(Pcd, ColoursAndGridsOfOtherProgramsAreUnderstood) {
    using Points = std::vector<std::array<unsigned, 5>>;  // colour and cell
    const std::string tail = "\nCOUNT 1 1 1 1 1 1\nWIDTH 2\nHEIGHT 1\nPOINTS 2\nDATA ascii\n1 2 3 ";
    const std::string separate = "FIELDS X Y Z Red Green Blue\nSIZE 4 4 4 4 4 4\nTYPE F F F ";
    const struct {
        std::string text;
        Points points;
    } kCases[] = {
        {separate + "U U U" + tail + "0 1 255\n4 5 6 7 8 9", {{0, 1, 255, 0, 0}, {7, 8, 9, 0, 0}}},
        {separate + "U U U" + tail + "0 255 256\n4 5 6 512 65535 1",
         {{0, 0, 1, 0, 0}, {2, 255, 0, 0, 0}}},
        {separate + "F F F" + tail + "0 1 0.5\n4 5 6 nan -1 0",
         {{0, 255, 127, 0, 0}, {0, 0, 0, 0, 0}}},
        // As a float 4210720 has the bits 0x4A808040.
        {"FIELDS x y z rgb column row\nSIZE 4 4 4 4 4 4\nTYPE F F F F U U" + tail +
             "4210720.0 7 3\n4 5 6 4210752 0 9\n",
         {{0x80, 0x80, 0x40, 7, 3}, {0x40, 0x40, 0x40, 0, 9}}},
        // Row after row; old files have columns for fields, and neither sizes nor types.
        {"COLUMNS x y z\nWIDTH 3\nHEIGHT 2\nDATA ascii\n1 2 3\nnan nan nan\n1 2 3\ninf 0 0\n1 2 3\n"
         "1 2 3\n\n",
         {{0, 0, 0, 0, 0}, {0, 0, 0, 2, 0}, {0, 0, 0, 1, 1}, {0, 0, 0, 2, 1}}},
    };
    const TempFolder folder;
    for (const auto& [text, expected] : kCases) {
        writeFile(folder / "a.pcd", text);
        std::vector<CellPoint> points;
        openScan(folder / "a.pcd")->read(points);
        Points found;
        for (const CellPoint& p : points)
            found.push_back({p.red, p.green, p.blue, p.column, p.row});
        EXPECT_EQ(found, expected) << text;
    }
}

TEST(Pcd, WhatCannotBeReadIsRefusedWithTheReason) {
    const std::string kFields = "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\n";
    const std::string kTwo = kFields + "WIDTH 2\nHEIGHT 1\nPOINTS 2\nDATA ";
    const std::string records(24, '\0');
    const struct {
        std::string text, reason;
    } kCases[] = {
        {"", "not a PCD file"},
        {kFields + "WIDTH 2\nHEIGHT 1\nPOINTS 2\n", "not a PCD file"},
        {"FIELDS x y\nWIDTH 1\nPOINTS 1\nDATA ascii\n1 2\n", "no fields x, y and z"},
        {"FIELDS x y z\nSIZE 4 4\nDATA ascii\n", "line 2 of the header"},
        {"FIELDS x y z\nSIZE 4 3 4\nTYPE F F F\nDATA ascii\n", "field y is of no known SIZE"},
        {"FIELDS x y z\nCOUNT 1 1 99999999999999999999\nDATA ascii\n", "line 2 of the header"},
        {"FIELDS x y z\nCOUNT 1 1 9999999999999999999\nDATA ascii\n", "field z is too long"},
        {"FIELDS x y z\nCOUNT 1 1 16384\nDATA ascii\n", "its points are too long"},
        {kFields + "WIDTH 9999999999\nHEIGHT 9999999999\nDATA ascii\n", "POINTS is not WIDTH"},
        {kFields + "WIDTH 4294967295\nHEIGHT 2\nDATA ascii\n", "its grid is too large"},
        {kFields + "VIEWPOINT 0 0 0 0 0 0 0\nWIDTH 0\nDATA ascii\n", "VIEWPOINT is no pose"},
        {kFields + "WIDTH 1\nDATA text\n", "line 6 of the header"},
        {kFields + "POINTS 99999999999\nDATA ascii\n1 2 3\n", "too short for the 99999999999"},
        {kTwo + "ascii\n1 2 3\n4  5   6    7\n", "line 10: more than 3 numbers"},
        {kTwo + "ascii\n1 2 3\n4 5\n", "line 10: not a number for each of 3 values"},
        {kTwo + "ascii\n1 2 3          ", "ends after 1 of 2 points"},
        {kTwo + "ascii\n1 2 3\n4 5 6\n7 8 9\n", "more points than the 2"},
        {kTwo + "binary\n" + records.substr(1), "too short for the 2 points"},
        {kTwo + "binary_compressed\n" + records.substr(1, 7), "too short for the 2 points"},
        {kTwo + "binary_compressed\n" + records.substr(1, 8), "0 bytes of compressed data"},
        {kTwo + "binary_compressed\n\x09" + records.substr(0, 3) + "\x18" + records.substr(0, 11),
         "too short for the 2 points"},
    };
    const TempFolder folder;
    for (const auto& [text, reason] : kCases) {
        writeFile(folder / "a.pcd", text);
        const ToolRun result = run({"convert", folder / "a.pcd", folder / "a.ply"});
        EXPECT_TRUE(result.code == 3 && contains(result.err, reason)) << reason << result.err;
        EXPECT_EQ(run({"check", folder / "a.pcd"}).code, 3) << reason;
        EXPECT_EQ(folder.names().size(), 1U);
    }
}

TEST(Pcd, CompressedDataUnpackOrAreRefused) {
    const struct {
        const char* packed;
        std::size_t full;
        std::string second;  // half, or what is wrong
    } kCases[] = {{"02 616263 80 02", 9, "bcabc"},
                  {"00 61 e0 01 00", 11, "aaaaaa"},
                  {"02 616263 80 03", 9, "refer to bytes before their beginning"},
                  {"02 616263 80 02", 8, "are more than they announce"},
                  {"02 616263", 2, "are more than they announce"},
                  {"02 616263", 4, "end too early"},
                  {"02 6162", 3, "are cut off"},
                  {"00 61 e0 01", 11, "are cut off"},
                  {"00 61 00", 1, "go on after the last point"}};
    const TempFolder folder;
    for (const auto& [hex, full, second] : kCases) {
        writeFile(folder / "a", fromHex(hex));
        std::string text(full - full / 2, '?');
        try {
            LzfStream stream(folder / "a", 0, fromHex(hex).size(), full);
            stream.skip(full / 2);
            stream.fork()->read(reinterpret_cast<std::uint8_t*>(text.data()), text.size());
            stream.skip(text.size());
            stream.requireEnd();
        } catch (const ScanError& error) {
            text = error.reason();
        }
        EXPECT_TRUE(text.ends_with(second)) << hex << ": " << text;
    }
}

TEST(Pcd, CellsPoseAndEveryDigitComeBack) {
    const TempFolder folder;
    const ScanFiles before = writeTiledScan(folder, "a");
    convert(convert(folder / "a.cl3", folder / "a.pcd"), folder / "b.cl3");
    EXPECT_EQ(readFile(folder / "b.cl3"), before.scan);
    EXPECT_EQ(readFile(folder / "b.ij"), before.index);
    EXPECT_EQ(readFile(folder / "b.alg"), before.alignment);
    // By columns the file is the same as by tiles; a single row is a grid, too.
    convert(convert(folder / "a.cl3", folder / "a.ptx"), folder / "c.pcd");
    EXPECT_EQ(readFile(folder / "c.pcd"), readFile(folder / "a.pcd"));
    convert(folder / "a.cl3", folder / "row.pcd", {"--rows", "4:5"});
    EXPECT_EQ(pointsIn(convert(folder / "row.pcd", folder / "row.ptx")),
              pointsIn(convert(folder / "a.cl3", folder / "line.ptx", {"--rows", "4:5"})));
    // Without a grid it is a list, and still has the pose.
    convert(folder / "a.cl3", folder / "plain.cl3", {"--plain"});
    const auto list = openScan(convert(folder / "plain.cl3", folder / "list.pcd"));
    EXPECT_FALSE(list->info().hasGrid);
    EXPECT_EQ(list->info().alignment.matrix[3], 10);
    EXPECT_EQ(pointsIn(folder / "list.pcd"), withoutCells(pointsIn(folder / "a.cl3")));
}

TEST(Pcd, WhatAViewpointOrAPrecisionHasNoRoomForIsReported) {
    const TempFolder folder;
    const std::string ptx = folder / "a.ptx", pcd = folder / "a.pcd";
    const std::string scaled = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n2 0 0 0\n0 2 0 0\n0 0 2 0\n5 0 0 1\n";
    writeFile(ptx, ptxText(1, 2, "1000.0001 2 3 0.5\n0 0 0 0.5\n", scaled));
    EXPECT_TRUE(contains(run({"convert", ptx, pcd}).err, "the matrix is no rigid motion"));
    EXPECT_EQ(pointsIn(pcd), (std::vector<CellTuple>{{0, 0, 2005.0002, 4, 6, 1100.0F}}));
    convert(ptx, pcd, {"--precision", "0.001"});
    EXPECT_EQ(std::get<2>(pointsIn(pcd)[0]), double{2005.0002F});
    const ToolRun coarse = run({"convert", ptx, pcd, "--overwrite", "--precision", "0.0001"});
    EXPECT_TRUE(coarse.code == 4 && contains(coarse.err, "without --precision")) << coarse.err;
}

}  // namespace
}  // namespace brisko::scan
