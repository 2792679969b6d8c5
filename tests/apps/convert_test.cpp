#include "apps/damaged_scan.h"
#include "apps/made_scan.h"
#include "apps/ptx_scan.h"
#include "scan/jobs/column_order.h"
#include "support/scan_bytes.h"

#include <brisko_codec/file_header.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;

/// Columns that turn clockwise, rows that fall.
constexpr ScanAngles kAngles{170, -0.5, 40, -0.25};

/// The same grid, cells and pose; positions within a tolerance, everything else exactly where the
/// format between them keeps it.
void expectSame(const PtxScan& found, const PtxScan& expected, double tolerance, bool keepsColour,
                float intensityTolerance) {
    EXPECT_EQ(found.header.columns, expected.header.columns);
    EXPECT_EQ(found.header.rows, expected.header.rows);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(found.header.matrix[i], expected.header.matrix[i]) << "matrix element " << i;
    }
    EXPECT_EQ(found.hasColour, keepsColour && expected.hasColour);
    ASSERT_EQ(found.points.size(), expected.points.size());
    for (std::size_t i = 0; i < found.points.size(); ++i) {
        const CellPoint& p = found.points[i];
        const CellPoint& q = expected.points[i];
        ASSERT_TRUE(p.column == q.column && p.row == q.row) << "point " << i;
        ASSERT_LE(std::abs(p.x - q.x), tolerance);
        ASSERT_LE(std::abs(p.y - q.y), tolerance);
        ASSERT_LE(std::abs(p.z - q.z), tolerance);
        ASSERT_LE(std::abs(p.intensity - q.intensity), intensityTolerance);
        if (!keepsColour) continue;
        ASSERT_TRUE(p.red == q.red && p.green == q.green && p.blue == q.blue) << "point " << i;
    }
}

void expectRoundTrips(const std::string& ptx, const TempFolder& folder) {
    SCOPED_TRACE(ptx);
    constexpr double kHalfUnit = 0.00005000001;  // metres, of a CLR record
    constexpr float kHalfStep = 0.5f;            // a CLR intensity is a whole number
    const PtxScan scan = readPtx(ptx);
    convert(ptx, folder / "trip.cl3");
    convert(folder / "trip.cl3", folder / "from_cl3.ptx");
    expectSame(readPtx(folder / "from_cl3.ptx"), scan, 0, true, 0);
    convert(ptx, folder / "raw.clr");
    convert(folder / "raw.clr", folder / "from_clr.ptx");
    expectSame(readPtx(folder / "from_clr.ptx"), scan, kHalfUnit, false, kHalfStep);
    // What a conversion has rounded once stays as it is.
    convert(folder / "raw.clr", folder / "again.clr");
    EXPECT_EQ(readFile(folder / "again.clr"), readFile(folder / "raw.clr"));
}

TEST(Convert, RoundTripsKeepGridPointsPoseAndColour) {
    const TempFolder folder;
    // More than one tile both ways, and the padding of the last ones.
    writeFile(folder / "a.ptx", madeScan(300, 270, kAngles, true, kTurnedLines));
    writeFile(folder / "b.ptx", madeScan(257, 3, {-20, 1.25, -30, 10}, false));
    expectRoundTrips(folder / "a.ptx", folder);
    const TempFolder other;
    expectRoundTrips(folder / "b.ptx", other);
}

TEST(Convert, RoundTripsRealScans) {
    const char* data = std::getenv("BRISKO_SCAN_DATA");
    if (!data) GTEST_SKIP() << "BRISKO_SCAN_DATA names no folder";
    for (const auto& entry : std::filesystem::directory_iterator(data)) {
        const TempFolder folder;
        if (entry.path().extension() == ".ptx") expectRoundTrips(entry.path().string(), folder);
    }
}

TEST(ColumnOrder, HandsOutColumnByColumnWhateverWaitsOnTheDisk) {
    const TempFolder folder;
    constexpr std::uint32_t kColumns = 300, kRows = 5000;  // more points than stay in memory
    std::uint64_t next = 0;
    std::uint64_t wrong = 0;
    ColumnOrder order(kColumns, "scan", folder / "out.ptx", [&](std::span<CellPoint> points) {
        for (const CellPoint& p : points)
            wrong +=
                std::uint64_t{p.column % kColumns} * kRows + p.row != next++ % (kColumns * kRows);
    });
    for (const std::uint32_t band : {0U, 1U}) {
        for (std::uint32_t row = 0; row < kRows; ++row) {
            std::vector<CellPoint> points(kColumns);
            for (std::uint32_t column = 0; column < kColumns; ++column) {
                points[column].column = band * kColumns + column;
                points[column].row = row;
            }
            order.add(points);
        }
    }
    order.finish();
    EXPECT_EQ(next, 2U * kColumns * kRows);
    EXPECT_EQ(wrong, 0U);
    EXPECT_TRUE(folder.names().empty());
}

TEST(Convert, WindowsTakeTilesApartAndBecomeTheGrid) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(600, 300, kAngles, false));
    convert(folder / "a.ptx", folder / "a.cl3");
    convert(folder / "a.ptx", folder / "a.clr");
    const PtxScan whole = readPtx(folder / "a.ptx");
    const struct {
        std::vector<std::string> options;
        const char* size;
        std::uint32_t firstColumn, endColumn, firstRow, every;
    } windows[] = {
        {{"--columns", "100:570", "--rows", "7:"}, "470\n293\n", 100, 570, 7, 1},
        {{"--columns", "100:570", "--rows", "7:", "--every", "3"}, "157\n98\n", 100, 570, 7, 3},
        {{"--every", "2"}, "300\n150\n", 0, 600, 0, 2},
    };
    for (const auto& w : windows) {
        const std::string direct = convert(folder / "a.ptx", folder / "direct.ptx", w.options);
        EXPECT_TRUE(readText(direct).starts_with(w.size)) << readText(direct).substr(0, 10);
        const PtxScan part = readPtx(direct);
        std::size_t found = 0;
        for (const CellPoint& p : whole.points) {
            if (p.column < w.firstColumn || p.column >= w.endColumn || p.row < w.firstRow) continue;
            const std::uint32_t column = p.column - w.firstColumn, row = p.row - w.firstRow;
            if (column % w.every > 0 || row % w.every > 0) continue;
            ASSERT_LT(found, part.points.size());
            const CellPoint& q = part.points[found++];
            ASSERT_EQ(std::tuple(q.column * w.every, q.row * w.every, q.x),
                      std::tuple(column, row, p.x));
        }
        EXPECT_EQ(found, part.points.size());
        for (const char* source : {"a.cl3", "a.ptx", "a.clr"}) {
            for (const char* extension : {".cl3", ".ptx", ".clr"}) {
                SCOPED_TRACE(std::string(source) + " to " + extension);
                const TempFolder out;
                convert(folder / source, out / named("w", extension), w.options);
                convert(out / named("w", extension), out / "back.PTX");
                const bool rounded =
                    source == std::string("a.clr") || extension == std::string(".clr");
                expectSame(readPtx(out / "back.PTX"), part, rounded ? 0.00005000001 : 0, true,
                           rounded ? 0.5f : 0);
            }
        }
    }
}

TEST(Convert, FiltersPointsInTheirFrames) {
    const TempFolder folder;
    // Aligned by the quarter turn: (10 - y, 20 + x, 30 + z).
    writeFile(folder / "a.ptx",
              ptxText(1, 4, "1 0 0 0.5\n0 3 0 0.5\n0 0 3.5 0.5\n-4 0 0 0.5\n", kTurnedLines));
    writeFile(folder / "half.txt", std::string("0.5,0 0 0  # x\n0 1 0 0\n0 0 1 0 0 0 0 +1"));
    const struct {
        std::vector<std::string> options;
        std::vector<std::uint32_t> rows;
    } cases[] = {
        {{}, {0, 1, 2, 3}},
        {{"--max-distance", "3"}, {0, 1}},
        {{"--max-distance", "0"}, {}},
        {{"--box", "7,20,30,10,21,30"}, {0, 1}},
        {{"--box", "10,21,30,7,20,30"}, {0, 1}},
        {{"--box=-100,-100,33,100,100,100"}, {2}},
        {{"--box", "7,20,30,10,21,30", "--rows", "1:4"}, {0}},
        {{"--valid"}, {0, 1, 2, 3}},
        {{"--min-distance", "3"}, {1, 2, 3}},
        {{"--min-distance", "3", "--max-distance", "3.5"}, {1, 2}},
        {{"--intensity", "1100:1100"}, {0, 1, 2, 3}},
        {{"--intensity", ":1099"}, {}},
        {{"--intensity", "1101:"}, {}},
        {{"--every", "2", "--rows", "1:"}, {0, 1}},
        {{"--voxel", "4"}, {0, 3}},
        {{"--voxel", "4", "--min-distance", "3"}, {1, 3}},
        {{"--voxel", "4", "--apply-alignment"}, {0, 1, 2, 3}},
        {{"--matrix", folder / "half.txt", "--box", "0,0,0,2,4,4"}, {0, 1, 2}},
    };
    for (const auto& filter : cases) {
        for (const char* extension : {".ptx", ".cl3", ".clr"}) {
            const TempFolder out;
            convert(folder / "a.ptx", out / named("f", extension), filter.options);
            convert(out / named("f", extension), out / "back.PTX");
            std::vector<std::uint32_t> rows;
            for (const CellPoint& p : readPtx(out / "back.PTX").points)
                rows.push_back(p.row);
            EXPECT_EQ(rows, filter.rows) << filter.options.empty() << extension;
        }
    }
    const ToolRun none =
        run({"convert", "--json", folder / "a.ptx", folder / "n.ply", "--max-distance", "0"});
    EXPECT_TRUE(contains(none.err, "n.ply: holds no point; none of the input's")) << none.err;
    const auto told = nlohmann::json::parse(none.out);
    EXPECT_EQ(told["schema"], "brisko.convert/1");
    EXPECT_EQ(told["points"], 0);
}

TEST(Convert, AppliesTheAlignmentOnceAndOnlyWhenAsked) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 1, "1 2 3 0.5\n", kTurnedLines));
    EXPECT_TRUE(contains(readText(convert(folder / "a.ptx", folder / "kept.ptx")), "\n1 2 3 0.5"));
    for (const char* extension : {".ptx", ".cl3", ".clr"}) {
        SCOPED_TRACE(extension);
        const TempFolder out;
        const std::string baked =
            convert(folder / "a.ptx", out / named("baked", extension), {"--apply-alignment"});
        EXPECT_EQ(readText(convert(baked, out / "back.PTX")), ptxText(1, 1, "8 21 33 0.5\n"));
    }
    // Formats without a place for a matrix in their file have it beside them.
    convert(folder / "a.ptx", folder / "plain.cl3", {"--plain"});
    convert(folder / "a.ptx", folder / "raw.clr");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.ptx", "kept.ptx", "plain.alg",
                                                        "plain.cl3", "raw.alg", "raw.clr"}));
    EXPECT_TRUE(contains(run({"info", "--count", folder / "plain.cl3"}).out, "8 to 8"));
}

TEST(Convert, WeakReturnsStayPointsInARawScan) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 3, "1 2 3 0\n-1.23456 2 3 0.0001\n1 2 -3 -0.5\n"));
    convert(folder / "a.ptx", folder / "a.clr");
    convert(folder / "a.clr", folder / "b.ptx");
    const PtxScan scan = readPtx(folder / "b.ptx");
    ASSERT_EQ(scan.points.size(), 3u);
    for (const CellPoint& point : scan.points)
        EXPECT_EQ(point.intensity, 1.0f);
    EXPECT_EQ(scan.points[1].x, -1.2346);  // the nearest, below zero too
}

TEST(Convert, FindsTheAnglesOfAnImportedScan) {
    const struct {
        ScanAngles angles;
        double startAzimuth;
    } cases[] = {{{170, -0.5, 40, -0.25}, 170},
                 {{170, 0.5, -40, 0.25}, 170},
                 {{-61.9, -0.25, -44, 0.2}, 298.1}};
    for (const auto& made : cases) {
        const TempFolder folder;
        writeFile(folder / "a.ptx", madeScan(400, 200, made.angles, false));
        CL3FileHeader cl3;
        CLRFileHeader clr;
        ASSERT_TRUE(cl3.Read(convert(folder / "a.ptx", folder / "a.cl3").c_str()));
        ASSERT_TRUE(clr.Read(convert(folder / "a.ptx", folder / "a.clr").c_str()));
        for (const CLFileHeader* header : std::initializer_list<const CLFileHeader*>{&cl3, &clr}) {
            const double stop = made.startAzimuth + 400 * made.angles.azimuthStep;
            const double zenith = 90 - made.angles.elevation;
            EXPECT_NEAR(header->GetStartAzimuthAngle(), made.startAzimuth, 0.01);
            EXPECT_NEAR(header->GetStopAzimuthAngle(), stop, 0.01);
            EXPECT_NEAR(header->GetDeltaAzimuthAngle(), std::abs(made.angles.azimuthStep), 1e-4);
            EXPECT_NEAR(header->GetStartZenithAngle(), zenith, 0.01);
            EXPECT_NEAR(header->GetStopZenithAngle(), zenith - 200 * made.angles.elevationStep,
                        0.01);
        }
        // A window moves the angles along.
        ASSERT_TRUE(cl3.Read(
            convert(folder / "a.cl3", folder / "w.cl3", {"--columns", "100:300"}).c_str()));
        EXPECT_NEAR(cl3.GetStartAzimuthAngle(), made.startAzimuth + 100 * made.angles.azimuthStep,
                    0.01);
        EXPECT_EQ(cl3.GetAzimuthResolution(), 200u);
        for (const char* source : {"a.ptx", "a.clr", "a.cl3"}) {
            ASSERT_TRUE(
                cl3.Read(convert(folder / source, folder / "e.cl3", {"--every", "3"}).c_str()));
            EXPECT_NEAR(cl3.GetStartAzimuthAngle(), made.startAzimuth, 0.01);
            EXPECT_NEAR(cl3.GetStopAzimuthAngle(),
                        made.startAzimuth + 134 * 3 * made.angles.azimuthStep, 0.01);
            EXPECT_NEAR(cl3.GetDeltaZenithAngle(), 3 * std::abs(made.angles.elevationStep), 1e-3);
        }
    }
}

TEST(Convert, WritesThePlyBytesThatTheFormatSays) {
    const TempFolder folder;
    // The second point is aligned to (10 - 2, 20 + 0, 30 + 0.5).
    writeFile(folder / "a.ptx",
              ptxText(2, 1, "0 0 0 0.5 0 0 0\n0 2 0.5 0.25 1 128 255\n", kTurnedLines));
    const ToolRun result = run({"convert", folder / "a.ptx", folder / "a.ply"});
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(contains(result.err, "aligned")) << result.err;
    const std::string text = readText(folder / "a.ply");
    const std::string header =
        "ply\nformat binary_little_endian 1.0\ncomment brisko 1.3.0\n"
        "comment metres; intensity 0 to 2200                   \nelement vertex 1\n"
        "property double x\nproperty double y\nproperty double z\nproperty uchar red\n"
        "property uchar green\nproperty uchar blue\nproperty float scalar_intensity\n"
        "property int scalar_column\nproperty int scalar_row\nend_header\n";
    ASSERT_EQ(text.substr(0, header.size()), header);
    const Bytes file = readFile(folder / "a.ply");
    EXPECT_EQ(Bytes(file.begin() + static_cast<std::ptrdiff_t>(header.size()), file.end()),
              fromHex("0000000000002040 0000000000003440 0000000000803e40"  // 8, 20, 30.5
                      "01 80 ff"
                      "00800944"              // 550
                      "01000000 00000000"));  // column 1, row 0
}

TEST(Convert, TakesFoldersAndPatternsAndCountsWhatCameOfThem) {
    const TempFolder in, out;
    const std::string scan = madeScan(5, 4, {10, 1, 60, 5}, true);
    for (const char* const name : {"a.ptx", "b.PTX", "c.ptx"})
        writeFile(in / name, scan);
    writeFile(in / "bad.ptx", std::string("no scan"));
    writeFile(in / "notes.txt", std::string("no scan either"));
    convert(in / "c.ptx", in / "c.cl3");
    const ToolRun all = run(
        {"convert", in.path().string(), "-o", out.path().string(), "--to", ".E57", "--jobs", "3"});
    EXPECT_EQ(all.code, 1);
    EXPECT_TRUE(all.out.ends_with("3 done, 2 failed\n")) << all.out;
    EXPECT_NE(all.err.find("bad.ptx"), std::string::npos);
    EXPECT_NE(all.err.find("c.e57 is that of"), std::string::npos) << all.err;
    EXPECT_EQ(out.names(), (std::vector<std::string>{"a.e57", "b.e57", "c.e57"}));
    EXPECT_EQ(pointsIn(out / "b.e57"), pointsIn(in / "a.ptx"));

    const ToolRun some = run({"convert", in / "?.ptx", in / "none*.ptx", "--scan", "all", "-o",
                              out.path().string(), "--to", "cl3", "--json"});
    EXPECT_EQ(some.code, 1);
    EXPECT_EQ(nlohmann::json::parse(some.out)["outputs"].size(), 3u) << some.out;
    const struct {
        std::vector<std::string> line;
        const char* message;
    } refused[] = {
        {{"convert", in / "a.ptx", "-o", out / "none", "--to", "cl3"}, "no such folder"},
        {{"convert", in / "a.ptx", "-o", out.path().string(), "--to", "xyzzy"}, "is named"},
        {{"convert", in / "a.ptx", "-o", out.path().string()}, "--to"},
        {{"convert", in / "a.ptx", in / "b.ptx", "--to", "cl3"}, "one INPUT"},
    };
    for (const auto& [line, message] : refused) {
        const ToolRun result = run(line);
        EXPECT_EQ(result.code, 2) << message;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace brisko::tool
