// Which points a conversion keeps, and where it puts them.

#include "apps/made_scan.h"
#include "apps/ptx_scan.h"
#include "scan/jobs/point_filter.h"
#include "scan/jobs/voxel_filter.h"
#include "support/scan_bytes.h"

#include <brisko_codec/file_header.h>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <tuple>

namespace brisko::test {
namespace {

/// "column row" of the points that a slow model keeps.
std::set<std::pair<std::uint32_t, std::uint32_t>> firstOfCubes(const std::string& path, double size,
                                                               unsigned every) {
    const auto input = scan::openScan(path);
    std::set<std::tuple<double, double, double>> cubes;
    std::set<std::pair<std::uint32_t, std::uint32_t>> kept;
    std::vector<CellPoint> points;
    std::size_t i = 0;
    for (input->read(points); !points.empty(); input->read(points)) {
        for (const CellPoint& p : points) {
            if (i++ % every > 0) continue;
            const bool isFirst =
                cubes
                    .emplace(std::floor(p.x / size), std::floor(p.y / size), std::floor(p.z / size))
                    .second;
            if (isFirst) kept.emplace(p.column, p.row);
        }
    }
    return kept;
}

TEST(VoxelFilter, KeepsTheFirstPointOfEachCubeHoweverLittleMemoryThereIs) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(200, 100, {170, -0.5, 40, -0.25}, false));
    const struct {
        double size;
        unsigned every;
        std::size_t slots;
    } cases[] = {{0.1, 1, scan::VoxelFilter::kSlots},
                 {0.1, 1, 1 << 12},
                 {0.1, 2, 256},
                 {0.02, 3, 1 << 10},
                 {1.5, 1, 4},
                 {1000, 1, 4}};
    for (const auto& c : cases) {
        const auto input = scan::openScan(folder / "a.ptx");
        scan::PointConditions conditions;
        conditions.every = c.every;
        scan::PointFilter filter(conditions);
        scan::VoxelFilter voxels(c.size, *input, conditions, folder / "out", {}, c.slots);
        std::set<std::pair<std::uint32_t, std::uint32_t>> kept;
        std::vector<CellPoint> points;
        for (input->read(points); !points.empty(); input->read(points)) {
            filter.apply(points);
            voxels.apply(points);
            for (const CellPoint& p : points)
                EXPECT_TRUE(kept.emplace(p.column, p.row).second);
        }
        EXPECT_EQ(kept, firstOfCubes(folder / "a.ptx", c.size, c.every))
            << c.size << " " << c.slots;
        EXPECT_EQ(folder.names(), std::vector<std::string>{"a.ptx"});
    }
}

TEST(Grid, OfACloudHasTheCellsOfTheScanThatItWas) {
    const TempFolder folder;
    const struct {
        ScanAngles angles;
        int columns, rows;
        std::uint32_t gridColumns, firstColumn;  // of the grid; where column 0 of the scan is
    } cases[] = {{{0, -0.9, 50, -0.9}, 400, 90, 400, 0},       // the whole circle
                 {{77.7, -0.3, 20, -0.3}, 300, 60, 300, 0},    // a part of it
                 {{100, -0.9, 88, -0.9}, 391, 20, 400, 289}};  // nearly the whole
    for (const auto& c : cases) {
        const std::string step = std::to_string(-c.angles.azimuthStep);
        writeFile(folder / "a.ptx", madeScan(c.columns, c.rows, c.angles, true));
        std::map<std::tuple<double, double, double>, std::pair<std::uint32_t, std::uint32_t>> cells;
        for (const CellPoint& p : readPtx(folder / "a.ptx").points)
            cells[{p.x, p.y, p.z}] = {(p.column + c.firstColumn) % c.gridColumns, p.row};
        convert(folder / "a.ptx", folder / "a.xyz");
        convert(folder / "a.ptx", folder / "plain.cl3", {"--plain"});
        for (const char* cloud : {"a.xyz", "plain.cl3"}) {
            convert(folder / cloud, folder / "g.cl3", {"--grid", step});
            convert(folder / cloud, folder / "g.ptx", {"--grid", step});
            convert(folder / "g.cl3", folder / "back.ptx");
            EXPECT_EQ(readText(folder / "back.ptx"), readText(folder / "g.ptx"));
            const PtxScan grid = readPtx(folder / "g.ptx");
            EXPECT_EQ(grid.header.columns, c.gridColumns);
            EXPECT_EQ(grid.points.size(), cells.size());
            for (const CellPoint& p : grid.points)
                ASSERT_EQ((cells[{p.x, p.y, p.z}]), std::pair(p.column, p.row)) << cloud << step;
            CL3FileHeader header;
            ASSERT_TRUE(header.Read((folder / "g.cl3").c_str()));
            EXPECT_NEAR(header.GetStartZenithAngle(), 90 - c.angles.elevation, 0.01);
            EXPECT_NEAR(header.GetDeltaAzimuthAngle(), -c.angles.azimuthStep, 1e-4);
        }
    }
}

TEST(Grid, KeepsTheNearestPointOfACellAndIsForCloudsOnly) {
    const TempFolder folder;
    writeFile(folder / "a.xyz", std::string("1 0 0\n2 0 0\n0.5 0 0\n0 0 0\n0 1 0\n"));
    const std::string a = folder / "a.xyz", out = folder / "out.ptx";
    const ToolRun result = run({"convert", a, out, "--grid", "1"});
    EXPECT_TRUE(contains(result.err, "2 points share a cell with a nearer one")) << result.err;
    EXPECT_TRUE(contains(result.err, "1 point at the scanner's own place")) << result.err;
    const PtxScan grid = readPtx(out);
    ASSERT_EQ(grid.points.size(), 2U);
    EXPECT_EQ(grid.points[0].x + grid.points[1].x, 0.5);
    const struct {
        std::vector<std::string> line;
        const char* message;
    } refused[] = {
        {{out, folder / "b.ptx", "--grid", "1"}, "a grid of its own"},
        {{a, folder / "b.ptx"}, "--grid STEP"},
        {{a, folder / "b.ptx", "--grid", "0"}, "less than 0.001"},
    };
    for (const auto& [line, message] : refused) {
        std::vector<std::string> all = line;
        all.insert(all.begin(), "convert");
        const ToolRun wrong = run(all);
        EXPECT_EQ(wrong.code, 2);
        EXPECT_TRUE(contains(wrong.err, message)) << wrong.err;
    }
}

TEST(MatrixFile, ComesBackExactlyAndTakesThePlaceOfTheAlignment) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 1, "1 2 3 0.5\n", kTurnedLines));
    convert(folder / "a.ptx", folder / "a.cl3", {"--export-matrix", folder / "m.txt"});
    writeFile(folder / "b.ptx", ptxText(1, 1, "1 2 3 0.5\n"));
    convert(folder / "b.ptx", folder / "c.ptx", {"--matrix", folder / "m.txt"});
    EXPECT_EQ(readText(folder / "c.ptx"), readText(folder / "a.ptx"));
    const std::string a = folder / "a.ptx", out = folder / "out.ptx";
    EXPECT_EQ(run({"convert", a, out, "--export-matrix", folder / "m.txt"}).code, 4);
    EXPECT_EQ(run({"convert", a, out, "--export-matrix", folder / "m.cl3"}).code, 2);
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {"1 0 0 0 0 1 0 0 0 0 1 0 0 0 0", "15 numbers"},
        {"1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1 0", "more than the 16"},
        {"# a\n1 0 0 O", "line 2: \"O\""},
        {"1 0 0 inf", "line 1: \"inf\""},
        {"1 0 0 0 0 1 0 0 0 0 1 0 5 6 7 1", "last row is 5 6 7 1"},
        {"1 2 3 0 4 5 6 0 7 8 9 0 0 0 0 1", "singular"},
        {std::string(70'000, '#'), "too long"},
    };
    for (const auto& wrong : cases) {
        writeFile(folder / "bad.txt", wrong.text);
        const ToolRun result = run({"convert", a, out, "--matrix", folder / "bad.txt"});
        EXPECT_EQ(result.code, 3);
        EXPECT_TRUE(contains(result.err, wrong.message)) << result.err;
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.alg", "a.cl3", "a.ij", "a.ptx", "b.ptx",
                                                        "bad.txt", "c.ptx", "m.txt"}));
}

}  // namespace
}  // namespace brisko::test
