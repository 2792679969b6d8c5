// PTS, XYZ and PLY: lists of points as other programs write them, and ours.

#include "apps/damaged_scan.h"
#include "apps/made_scan.h"
#include "apps/tool_run.h"

#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

namespace brisko::test {
namespace {

using scan::ScanError;

/// "x y z intensity red green blue column row" of each point, and a comma between two.
std::string textOf(const std::string& path, const scan::ReadOptions& options = {}) {
    const std::unique_ptr<scan::ScanInput> input = scan::openScan(path, options);
    std::vector<CellPoint> points;
    std::ostringstream out;
    for (input->read(points); !points.empty(); input->read(points)) {
        for (const CellPoint& p : points) {
            out << (out.tellp() > 0 ? ", " : "") << p.x << " " << p.y << " " << p.z << " "
                << p.intensity << " " << unsigned{p.red} << " " << unsigned{p.green} << " "
                << unsigned{p.blue} << " " << p.column << " " << p.row;
        }
    }
    return out.str();
}

std::string ply(const std::string& format, const std::string& elements) {
    return "ply\nformat " + format + " 1.0\n" + elements + "end_header\n";
}

std::string bytes(std::string_view digits) {
    const Bytes raw = fromHex(digits);
    return {raw.begin(), raw.end()};
}

constexpr const char* kPlaces = "property float x\nproperty float y\nproperty float z\n";

const std::string kAsciiVertex = std::string("element vertex 2\n") + kPlaces;
const std::string kLittle = "binary_little_endian", kBig = "binary_big_endian";
/// 1, 2, 3 as floats.
const std::string kLittlePlace = bytes("0000803f 00000040 00004040");
const std::string kBigPlace = bytes("3f800000 40000000 40400000");

TEST(PointLists, AreReadAsOtherProgramsWriteThem) {
    const std::string cells = "element vertex 3\n" + std::string(kPlaces) +
                              "property float scalar_Column\nproperty float row\n";
    const struct {
        const char* name;
        std::string text;
        const char* points;
    } cases[] = {
        {"a.pts", "2\n1 2 3\n4 5 6\n", "1 2 3 0 0 0 0 0 0, 4 5 6 0 0 0 0 0 0"},
        {"a.pts", "0\n", ""},
        {"a.pts", "\xEF\xBB\xBF 1 \r\n1\t2  3 -2048 1 2 3\r\n", "1 2 3 0 1 2 3 0 0"},
        {"a.pts", "1\n1 2 3 2047\n\n1\n4 5 6 -2048\n", "1 2 3 2200 0 0 0 0 0, 4 5 6 0 0 0 0 0 0"},
        {"a.pts", "2\nnan nan nan 0\n1 2 3 2047\n", "1 2 3 2200 0 0 0 0 0"},
        {"a.xyz", "1 2 3 0.5\n", "1 2 3 0.5 0 0 0 0 0"},
        {"a.xyz", "//X Y Z\n# more\n\n1 2 3 4 5 6", "1 2 3 0 4 5 6 0 0"},
        {"a.xyz", "0 0 0 0 0 1\n1 2 3 0.6 -0.8 0\n", "0 0 0 0 0 0 0 0 0, 1 2 3 0 0 0 0 0 0"},
        {"a.xyz", "1, 2,3 ,9.5,10.0,20.4,255\n", "1 2 3 9.5 10 20 255 0 0"},
        {"a.xyz", "1;2;3;9\n", "1 2 3 9 0 0 0 0 0"},
        {"a.xyz", "\"x\",\"y\",\"z\",\"R\",g,b,note,intensity\n1,2,3,4,5,6,7,8\n",
         "1 2 3 8 4 5 6 0 0"},
        {"a.ply", ply("ascii", "comment c\n" + kAsciiVertex) + "1 2 3\n4 5 6\n",
         "1 2 3 0 0 0 0 0 0, 4 5 6 0 0 0 0 0 0"},
        {"a.ply",
         ply("ascii", "element face 1\nproperty list uchar int i\n" + kAsciiVertex +
                          "property list uchar uchar k\nproperty float Scalar_Scalar_intensity\n"
                          "property float r\nproperty float g\nproperty float b\n") +
             "3 0 1 2\n1 2 3 2 8 8 7 0 0.5 1\nnan 2 3 0 7 0 0 0\n",
         "1 2 3 7 0 128 255 0 0"},
        {"a.ply",
         ply(kLittle,
             "element other 2\nproperty list uchar short l\nproperty char c\n"
             "element vertex 1\n" +
                 std::string(kPlaces) +
                 "property ushort red\nproperty ushort green\nproperty ushort blue\n") +
             bytes("02 01000200 07  00 08") + kLittlePlace + bytes("ffff 0101 0000"),
         "1 2 3 0 255 1 0 0 0"},
        {"a.ply",
         ply(kBig, "element vertex 1\nproperty list uint double l\n" + std::string(kPlaces) +
                       "property double intensity\nelement face 9\n") +
             bytes("00000001 4000000000000000") + kBigPlace + bytes("4024000000000000"),
         "1 2 3 10 0 0 0 0 0"},
        {"a.ply", ply("ascii", cells) + "1 2 3 0 5\n4 5 6 700 0\n7 8 9 1 1\n",
         "1 2 3 0 0 0 0 0 5, 4 5 6 0 0 0 0 700 0, 7 8 9 0 0 0 0 1 1"},
        {"a.ply", ply("ascii", cells) + "1 2 3 0.5 5\n4 5 6 7 0\n7 8 9 1 -1\n",
         "1 2 3 0 0 0 0 0 0, 4 5 6 0 0 0 0 0 0, 7 8 9 0 0 0 0 0 0"},
    };
    const TempFolder folder;
    for (const auto& scan : cases) {
        writeFile(folder / scan.name, scan.text);
        EXPECT_EQ(textOf(folder / scan.name), scan.points) << scan.text;
        EXPECT_EQ(run({"check", folder / scan.name}).code, 0) << scan.text;
    }
    writeFile(folder / "a.xyz", "1 2 3 50\n");
    EXPECT_EQ(textOf(folder / "a.xyz", {.intensities = scan::IntensityRange{0, 100}}),
              "1 2 3 1100 0 0 0 0 0");
    writeFile(folder / "a.ply", ply("ascii", cells) + "1 2 3 0 5\n4 5 6 700 0\n7 8 9 1 1\n");
    const auto grid = scan::openScan(folder / "a.ply");
    EXPECT_EQ(std::tuple(grid->info().columns, grid->info().rows, grid->info().bandColumns),
              std::tuple(701, 6, 701));
}

TEST(PointLists, AreRefusedWhereTheyAreDamaged) {
    const std::string vertex = "element vertex 1\n" + std::string(kPlaces);
    const struct {
        const char* name;
        std::string text;
        const char* message;
    } cases[] = {
        {"a.pts", "", "no number of points"},
        {"a.pts", "1 2 3\n", "line 1: not a number of points"},
        {"a.pts", "-1\n1 2 3\n", "line 1: not a number"},
        {"a.pts", "3\n1 2 3\n4 5 6.0000000\n", "after line 3, before the last of the 3 points"},
        {"a.pts", "1\n1 2 3\n4 5 6\n", "line 3: more lines than the 1 point of line 1"},
        {"a.pts", "1000000000000\n1 2 3\n", "too short for the 1000000000000 points"},
        {"a.pts", "2\n1 2 3\n4 5 6 7\n", "line 3: not \"x y z\""},
        {"a.pts", "2\n1 2 3 4\n5 6 nan 7\n", "line 3: not \"x y z intensity\""},
        {"a.pts", "1\n1,2,3\n", "line 2: not \"x y z\""},
        {"a.xyz", "1 2 3 4 5\n", "line 1: not"},
        {"a.xyz", "a b c\n1 2 3\n", "line 1: neither numbers nor names"},
        {"a.xyz", "1 2 3 0 0 0\n1 2 3 0 0 256\n", "line 2: not \"x y z red"},
        {"a.xyz", "1,5 2,5 3,5\n", "line 1: not"},
        {"a.xyz", "1,5;2,5;3,5\n", "line 1:"},
        {"a.xyz", "1,2,3\n1,,2,3\n", "line 2: not"},
        {"a.xyz", "1 2 3 1e300\n", "line 1: not"},
        {"a.ply", "", "does not end"},
        {"a.ply", "plywood\n", "line 1: not the first"},
        {"a.ply", "ply\nend_header\n", "no line \"format\""},
        {"a.ply", ply("ebcdic", vertex), "line 2: a format"},
        {"a.ply", ply("ascii", ""), "no element \"vertex\""},
        {"a.ply", ply("ascii", "element vertex 1\nproperty float x\n"), "no x, y and z"},
        {"a.ply", ply("ascii", "property float x\n"), "of no element"},
        {"a.ply", ply("ascii", "element vertex -1\n"), "and a count"},
        {"a.ply", ply("ascii", "element vertex 1\nproperty long x\n"), "type that is not known"},
        {"a.ply", ply("ascii", "element vertex 1\nproperty list float int x\n"), "not a whole"},
        {"a.ply", ply("ascii", "element vertex 18446744073709551615\n" + std::string(kPlaces)),
         "too short"},
        {"a.ply", ply("ascii", vertex) + "1 2 x\n", "line 8: not the 3 properties"},
        {"a.ply", ply("ascii", vertex) + "1 2 3 4\n", "line 8: not the 3 properties"},
        {"a.ply", ply("ascii", "element o 9999999999999\n" + vertex) + "1 2 3\n4 5 6\n",
         "vertex 1"},
        {"a.ply", ply(kLittle, vertex) + kLittlePlace.substr(1), "too short"},
        {"a.ply",
         ply(kLittle, "element o 1\nproperty list int double l\n" + vertex) + bytes("ffffff7f") +
             kLittlePlace,
         "ends in or before vertex 1 of 1"},
        {"a.ply",
         ply(kLittle, "element o 1\nproperty list int double l\n" + vertex) + bytes("ffffffff") +
             kLittlePlace,
         "ends in or before vertex 1 of 1"},
        {"a.ply", ply(kLittle, "element o 1\nproperty double l\n" + vertex) + kLittlePlace + "....",
         "ends in or before vertex 1 of 1"},
    };
    const TempFolder folder;
    for (const auto& bad : cases) {
        writeFile(folder / bad.name, bad.text);
        try {
            textOf(folder / bad.name);
            ADD_FAILURE() << bad.text << " was read";
        } catch (const ScanError& error) {
            EXPECT_EQ(error.kind(), scan::ErrorKind::Damaged) << bad.text;
            EXPECT_TRUE(contains(error.what(), bad.message)) << bad.text << error.what();
        }
        EXPECT_EQ(run({"check", folder / bad.name}).code, 3) << bad.text;
    }
}

TEST(PointLists, HoldWhatTheirScanHolds) {
    const TempFolder folder;
    const ScanAngles angles{-20, 1.25, -30, 1};
    writeFile(folder / "a.ptx", madeScan(70, 60, angles, true));
    writeFile(folder / "black.ptx", madeScan(300, 20, angles, false));
    for (const char* scan : {"a.ptx", "black.ptx"}) {
        const std::vector<CellTuple> expected = pointsIn(folder / scan);
        convert(folder / scan, folder / "out.ply");
        EXPECT_EQ(pointsIn(folder / "out.ply"), expected) << scan;
        convert(folder / "out.ply", folder / "again.ply");
        EXPECT_EQ(readText(folder / "again.ply"), readText(folder / "out.ply"));
        convert(folder / scan, folder / "out.xyz");
        convert(folder / "out.xyz", folder / "out.pts");
        convert(folder / "out.pts", folder / "again.pts");
        EXPECT_EQ(readText(folder / "again.pts"), readText(folder / "out.pts"));
        EXPECT_EQ(pointsIn(folder / "out.xyz"), withoutCells(expected));
        EXPECT_EQ(pointsIn(folder / "out.pts").size(), expected.size());
        for (const char* name : {"out.ply", "again.ply", "out.xyz", "out.pts", "again.pts"})
            std::filesystem::remove(folder / name);
    }
    writeFile(folder / "one.ptx", ptxText(1, 1, "1.5 -2 3 1\n"));
    convert(folder / "one.ptx", folder / "one.pts");
    convert(folder / "one.ptx", folder / "one.xyz");
    EXPECT_EQ(readText(folder / "one.pts"), "1" + std::string(19, ' ') + "\n1.5 -2 3 2047\n");
    EXPECT_EQ(readText(folder / "one.xyz"), "1.5 -2 3 2200\n");
}

}  // namespace
}  // namespace brisko::test
