#include "apps/damaged_scan.h"
#include "apps/tool_run.h"
#include "support/e57_bytes.h"

#include <brisko_scan/check.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/scan_reader.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace brisko::test {
namespace {

using scan::ScanError;

constexpr const char* kXyz =
    "<cartesianX type=\"Float\"/><cartesianY type=\"Float\"/>"
    "<cartesianZ type=\"Float\"/>";

/// Five records in two packets whose streams do not end with the same record; the third measured
/// nothing. Fields of 0, 2, 7, 9, 16, 32, 60 and 64 bits, one of them a text that is passed over.
Bytes fileOfManyFields(const std::string& more) {
    const std::string fields =
        "<cartesianX type=\"Float\" precision=\"double\"/>"
        "<cartesianY type=\"Float\" precision=\"single\"/>"
        "<cartesianZ type=\"ScaledInteger\" minimum=\"-10\" maximum=\"500\" scale=\"0.5\" "
        "offset=\"1\"/>"
        "<note type=\"String\"/>"
        "<cartesianInvalidState type=\"Integer\" minimum=\"0\" maximum=\"2\"/>"
        "<rowIndex type=\"Integer\" minimum=\"5\" maximum=\"5\"/>"
        "<columnIndex type=\"Integer\" minimum=\"3\" maximum=\"6\"/>"
        "<far:id type=\"Integer\" minimum=\"0\" maximum=\"1000000000000000000\"/>"
        "<intensity type=\"Integer\" minimum=\"0\" maximum=\"100\"/>"
        "<colorRed type=\"Integer\" minimum=\"0\" maximum=\"65535\"/>"
        "<colorGreen type=\"Integer\" minimum=\"0\" maximum=\"65535\"/>"
        "<colorBlue type=\"Integer\" minimum=\"0\" maximum=\"65535\"/>";
    const Bytes x = e57Numbers<double>({1.5, 2.5, 3.5, 4.5, 5.5});
    const Bytes y = e57Numbers<float>({10, 20, 30, 40, 50}), z = e57Bits({10, 20, 0, 510, 15}, 9);
    const Bytes state = e57Bits({0, 0, 2, 0, 0}, 2), column = e57Bits({0, 1, 2, 2, 3}, 2);
    const Bytes id = e57Bits({1, 2, 3, 4, 5}, 60), intensity = e57Bits({0, 50, 1, 100, 25}, 7);
    const Bytes red = e57Bits({0, 257, 0, 65535, 514}, 16), none;
    const auto cut = [](const Bytes& bytes, std::size_t from, std::size_t to) {
        return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                     bytes.begin() + static_cast<std::ptrdiff_t>(std::min(to, bytes.size())));
    };
    constexpr std::size_t kEnd = 1000;
    const auto packet = [&](bool isFirst) {
        const auto part = [&](const Bytes& bytes, std::size_t at) {
            return isFirst ? cut(bytes, 0, at) : cut(bytes, at, kEnd);
        };
        return e57Packet({part(x, 19), part(y, 16), part(z, 1), isFirst ? Bytes{1, 2, 3} : none,
                          part(state, 0), none, part(column, 2), part(id, 7), part(intensity, 2),
                          part(red, 10), part(red, 3), part(red, 0)});
    };
    const Bytes ignored = {2, 0, 7, 0, 9, 9, 9, 9},
                index = {0, 0, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    return e57File(e57Section({packet(true), ignored, index, packet(false)}),
                   e57Xml(5, fields, more));
}

TEST(E57, ReadsFieldsOfAnyWidthWhoseStreamsLieApart) {
    const TempFolder folder;
    writeFile(folder / "a.e57", fileOfManyFields("<far:thing xmlns:far=\"urn:far\"/>"));
    const std::vector<CellPoint> points = readAll(folder / "a.e57");
    const struct {
        double x, y, z;
        float intensity;
        int colour;
        std::uint32_t column;
    } expected[] = {{1.5, 10, 1, 0, 0, 0},
                    {2.5, 20, 6, 1100, 1, 1},
                    {4.5, 40, 251, 2200, 255, 2},
                    {5.5, 50, 3.5, 550, 2, 3}};
    ASSERT_EQ(points.size(), 4u);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(points[i].x, expected[i].x) << i;
        EXPECT_EQ(points[i].y, expected[i].y) << i;
        EXPECT_EQ(points[i].z, expected[i].z) << i;
        EXPECT_EQ(points[i].intensity, expected[i].intensity) << i;
        EXPECT_EQ(points[i].red, expected[i].colour) << i;
        EXPECT_EQ(points[i].blue, expected[i].colour) << i;
        EXPECT_EQ(points[i].column, expected[i].column) << i;
        EXPECT_EQ(points[i].row, 0u) << i;
    }
    const auto input = scan::openScan(folder / "a.e57");
    EXPECT_EQ(input->info().columns, 4u);
    EXPECT_EQ(input->info().rows, 1u);
}

TEST(E57, TakesPoseLimitsAndSphericalCoordinates) {
    const TempFolder folder;
    const std::string fields =
        "<sphericalRange type=\"Float\"/><sphericalAzimuth type=\"Float\"/>"
        "<sphericalElevation type=\"Float\"/><intensity type=\"Float\"/>";
    const Bytes section = e57Section(
        {e57Packet({e57Numbers<double>({2, 4}), e57Numbers<double>({0, std::acos(0.0)}),
                    e57Numbers<double>({0, std::acos(0.5)}), e57Numbers<double>({-1, 3})})});
    // A third of a turn around (1, 1, 1): x to y, y to z, z to x; the quaternion is not of length 1.
    const std::string pose =
        "<pose type=\"Structure\"><rotation type=\"Structure\"><w type=\"Float\">2</w>"
        "<x type=\"Float\">2</x><y type=\"Float\">2</y><z type=\"Integer\">2</z></rotation>"
        "<translation type=\"Structure\"><x type=\"Float\">1e2</x></translation></pose>";
    const std::string limits =
        "<intensityLimits type=\"Structure\"><intensityMinimum type=\"ScaledInteger\" "
        "scale=\"0.5\">"
        "-4</intensityMinimum><intensityMaximum "
        "type=\"Float\">8</intensityMaximum></intensityLimits>";
    for (const bool hasLimits : {true, false}) {
        writeFile(folder / "a.e57",
                  e57File(section, e57Xml(2, fields, pose + (hasLimits ? limits : ""))));
        scan::ScanReader reader = scan::ScanReader::open(folder / "a.e57");
        double place[6];
        float intensity[2];
        PointArrays arrays;
        arrays.positions = place;
        arrays.intensities = intensity;
        ASSERT_EQ(reader.read(arrays, 2), 2u);
        const double expected[] = {100, 2, 0, 100 + 4 * std::sin(std::acos(0.5)), 0, 2};
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(place[i], expected[i], 1e-12) << i;
        EXPECT_FLOAT_EQ(intensity[0], hasLimits ? 220.f : 0.f);
        EXPECT_FLOAT_EQ(intensity[1], hasLimits ? 1100.f : 2200.f);
    }
}

TEST(E57, RefusesWhatItCannotRead) {
    const Bytes packet = e57Packet(
        {e57Numbers<double>({1, 2}), e57Numbers<double>({1, 2}), e57Numbers<double>({1, 2})});
    const Bytes sound = e57File(e57Section({packet}), e57Xml(2, kXyz));
    const auto withXml = [&](const std::string& xml) { return e57File(e57Section({packet}), xml); };
    const auto withPacket = [&](std::size_t at, const Bytes& bytes) {
        return e57File(e57Section({patched(packet, at, bytes)}), e57Xml(2, kXyz));
    };
    const std::string zeroBits =
        "<cartesianX type=\"Integer\" minimum=\"1\" maximum=\"1\"/>"
        "<cartesianY type=\"Integer\" minimum=\"1\" maximum=\"1\"/>"
        "<cartesianZ type=\"Integer\" minimum=\"1\" maximum=\"1\"/>";
    // What a file of ours says of its grid, and the columns of its two records.
    const auto withGrid = [&](std::uint64_t last, const std::vector<std::uint64_t>& columns) {
        const std::string grid =
            "<indexBounds type=\"Structure\"><rowMinimum type=\"Integer\">0</rowMinimum>"
            "<rowMaximum type=\"Integer\">0</rowMaximum><columnMinimum type=\"Integer\">0"
            "</columnMinimum><columnMaximum type=\"Integer\">" +
            std::to_string(last) +
            "</columnMaximum></indexBounds><brisko:bandColumns xmlns:brisko=\"urn:brisko:e57:1\" "
            "type=\"Integer\">1</brisko:bandColumns>";
        const Bytes n = e57Numbers<double>({1, 2});
        return e57File(e57Section({e57Packet({n, n, n, {}, e57Bits(columns, 2)})}),
                       e57Xml(2,
                              std::string(kXyz) +
                                  "<rowIndex type=\"Integer\" minimum=\"0\" maximum=\"0\"/>"
                                  "<columnIndex type=\"Integer\" minimum=\"0\" maximum=\"3\"/>",
                              grid));
    };
    const struct {
        const char* what;
        Bytes bytes;
        const char* message;
    } cases[] = {
        {"a cell outside the grid", withGrid(2, {0, 3}), "outside the grid"},
        {"another order than named", withGrid(2, {2, 1}), "order"},
        {"a byte changed", patched(sound, 500, {99}), "checksum"},
        {"very short", cutTo(sound, 40), "too short"},
        {"cut inside a page", cutTo(sound, 1000), "announces"},
        {"not E57", patched(sound, 0, {'X'}), "does not begin"},
        {"no XML", e57File({}, ""), "XML"},
        {"document type", withXml("<!DOCTYPE a [<!ENTITY b \"c\">]><e57Root/>"), "document type"},
        {"another root", withXml("<other/>"), "e57Root"},
        {"not well formed", withXml("<e57Root><data3D></e57Root>"), "line 1"},
        {"one more record", withXml(e57Xml(3, kXyz)), "end here"},
        {"absurd count", withXml(e57Xml(~std::uint64_t{0}, kXyz)), "too short"},
        {"records without a bit", withXml(e57Xml(1000, zeroBits)), "too short"},
        {"no coordinates",
         withXml(e57Xml(2, "<a type=\"Float\"/><b type=\"Float\"/><intensity type=\"Float\"/>")),
         "no coordinates"},
        {"a count that is none",
         withXml(e57Xml(2, kXyz,
                        "<pose type=\"Structure\"><rotation "
                        "type=\"Structure\"/></pose>")),
         "pose"},
        {"maximum below minimum",
         withXml(e57Xml(
             2, std::string(kXyz) + "<rowIndex type=\"Integer\" minimum=\"2\" maximum=\"1\"/>")),
         "maximum"},
        {"one field more", withXml(e57Xml(2, std::string(kXyz) + "<a type=\"String\"/>")),
         "streams"},
        {"stream beyond the packet", withPacket(6, {255, 255}), "longer"},
        {"stream too short", withPacket(6, {8, 0}), "end here"},
        {"packet beyond its section", withPacket(2, {255, 255}), "no packet"},
        {"packet of no kind", withPacket(0, {7}), "no packet"},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(folder / "a.e57", c.bytes);
        try {
            readAll(folder / "a.e57");
            ADD_FAILURE() << c.what << " was read";
        } catch (const ScanError& error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos)
                << c.what << ": " << error.what();
        }
        EXPECT_FALSE(scan::checkScan(folder / "a.e57", 5).findings.empty()) << c.what;
    }
    const TempFolder folder;
    writeFile(folder / "a.e57", sound);
    EXPECT_EQ(readAll(folder / "a.e57").size(), 2u);
    EXPECT_TRUE(scan::checkScan(folder / "a.e57", 5).findings.empty());
    writeFile(folder / "a.e57", withGrid(2, {1, 2}));
    EXPECT_EQ(readAll(folder / "a.e57").size(), 2u);
}

TEST(E57, KeepsNativeScansToTheByte) {
    const TempFolder folder;
    const ScanFiles tiled = writeTiledScan(folder, "tiled");
    convert(folder / "tiled.cl3", folder / "tiled.e57");
    convert(folder / "tiled.e57", folder / "back.cl3");
    EXPECT_EQ(readFile(folder / "back.cl3"), tiled.scan);
    EXPECT_EQ(readFile(folder / "back.ij"), tiled.index);
    EXPECT_EQ(readFile(folder / "back.alg"), tiled.alignment);
    // A raw scan with a header of its own, whose odd columns come from the last row to the first.
    run({"simulate", folder.path().string(), "--name", "raw", "--columns", "90", "--rows", "70"});
    convert(folder / "raw.clr", folder / "raw.e57");
    convert(folder / "raw.e57", folder / "again.clr");
    EXPECT_EQ(readFile(folder / "again.clr"), readFile(folder / "raw.clr"));
}

TEST(E57, RoundsToThePrecisionAskedFor) {
    const TempFolder folder;
    writeTiledScan(folder, "a");
    scan::ConvertOptions options;
    options.input = folder / "a.cl3";
    options.output = folder / "a.e57";
    options.precision = 0.001;
    scan::convertScan(options);
    const std::vector<CellTuple> exact = pointsIn(folder / "a.cl3"),
                                 rounded = pointsIn(folder / "a.e57");
    ASSERT_EQ(exact.size(), rounded.size());
    for (std::size_t i = 0; i < exact.size(); ++i) {
        EXPECT_EQ(std::get<0>(exact[i]), std::get<0>(rounded[i]));
        EXPECT_EQ(std::get<1>(exact[i]), std::get<1>(rounded[i]));
        EXPECT_NEAR(std::get<2>(exact[i]), std::get<2>(rounded[i]), 0.000501);
        EXPECT_EQ(std::get<5>(exact[i]), std::get<5>(rounded[i]));
    }
    options.precision = 1e-12;
    options.output = folder / "b.e57";
    EXPECT_THROW(scan::convertScan(options), ScanError);
    EXPECT_FALSE(std::filesystem::exists(folder / "b.e57"));
}

/// A matrix that also scales is no pose: the points are moved.
TEST(E57, MovesPointsByAMatrixThatIsNoPose) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", std::string("1\n1\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n"
                                            "2 0 0 0\n0 2 0 0\n0 0 2 0\n7 0 0 1\n1 2 3 0.5\n"));
    EXPECT_TRUE(contains(run({"convert", folder / "a.ptx", folder / "a.e57"}).err, "rigid motion"));
    const std::vector<CellPoint> points = readAll(folder / "a.e57");
    EXPECT_EQ(points.at(0).x, 9);
    EXPECT_EQ(points.at(0).z, 6);
    EXPECT_EQ(scan::openScan(folder / "a.e57")->info().alignment.matrix[3], 0);
}

TEST(E57, ReadsFilesOfOtherPrograms) {
    const char* const data = std::getenv("BRISKO_SCAN_DATA");
    if (!data) GTEST_SKIP() << "BRISKO_SCAN_DATA names no folder with scans";
    const struct {
        const char* name;
        const char* scan;
        std::size_t points;
        std::uint32_t columns, rows;
    } cases[] = {{"bunnyDouble", "", 30571, 0, 0},
                 {"bunnyInt19", "", 30571, 0, 0},
                 {"ColouredCubeFloat", "", 7680, 0, 0},
                 {"ZeroPoints", "", 0, 0, 0},
                 {"A_B", "2", 4, 0, 0},
                 {"tiny_spherical", "", 180, 0, 0},
                 {"cartesian_invalid_state_single", "", 1, 0, 0},
                 {"pumpARowColumnIndexNoInvalidPoints", "", 155201, 345, 1074}};
    for (const auto& c : cases) {
        const std::string path = std::string(data) + "/e57/" + c.name + ".e57";
        scan::ReadOptions options;
        options.scan = c.scan;
        EXPECT_EQ(readAll(path, options).size(), c.points) << c.name;
        EXPECT_EQ(scan::openScan(path, options)->info().columns, c.columns) << c.name;
        EXPECT_EQ(scan::openScan(path, options)->info().rows, c.rows) << c.name;
        EXPECT_TRUE(scan::checkScan(path, 5).findings.empty()) << c.name;
    }
    EXPECT_THROW(readAll(std::string(data) + "/e57/A_B.e57"), ScanError);
}

}  // namespace
}  // namespace brisko::test
