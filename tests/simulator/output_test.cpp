#include "simulator/simulation.h"

#include "support/read_points.h"

#include <brisko_codec/brisko_codec.h>
#include <brisko_scan/scan_error.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace brisko::simulator {
namespace {

using namespace brisko::test;

// More rows than one compressed piece holds, more columns than one band has.
constexpr ScanGrid kGrid{300, 260, 360, 0, 20, 150};

ScanPlan planIn(const TempFolder& folder, ScanFormat format = ScanFormat::CLR) {
    ScanPlan plan;
    plan.folder = folder.path().string();
    plan.format = format;
    plan.grid = kGrid;
    return plan;
}

/// The cells of a pass as the scanner measures them, column after column.
std::vector<Measurement> truth(const std::string& scene, const ScanPass& pass) {
    const Station station = makeStation(scene);
    const Scanner scanner(station, kGrid, {});
    std::vector<Measurement> cells(kGrid.cells());
    for (std::uint32_t column = 0; column < kGrid.columns; ++column)
        scanner.measureColumn(pass, column,
                              std::span(cells).subspan(column * kGrid.rows, kGrid.rows));
    return cells;
}

/// The points that a reader delivers, scanner frame; those of a grid by their cells.
template <class Codec>
std::vector<Measurement> readCells(const std::string& path) {
    constexpr bool isGrid = std::is_base_of_v<BriskoGridCodec, Codec>;
    std::vector<Measurement> cells(isGrid ? kGrid.cells() : 0);
    const auto codec = openScan<Codec>(path);
    if (!codec) return {};
    setFrame(*codec, Frame::Scanner);
    for (const TestPoint& p : readAll(*codec)) {
        Measurement& cell =
            isGrid ? cells.at(p.column * std::size_t{kGrid.rows} + p.row) : cells.emplace_back();
        EXPECT_FALSE(cell.measured()) << "cell " << p.column << ", " << p.row << " twice";
        cell = {p.x, p.y, p.z, p.intensity, {p.red, p.green, p.blue}};
    }
    return cells;
}

void expectSame(const std::vector<Measurement>& found, const std::vector<Measurement>& expected,
                double tolerance, bool coloured = false) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        const Measurement &f = found[i], &e = expected[i];
        const auto off = {std::abs(f.x - e.x), std::abs(f.y - e.y), std::abs(f.z - e.z)};
        ASSERT_LE(std::max(off), tolerance) << "at " << i;
        ASSERT_EQ(f.intensity, e.intensity) << "at " << i;
        ASSERT_EQ(f.colour.red, coloured ? e.colour.red : 0) << "at " << i;
        ASSERT_EQ(f.colour.blue, coloured ? e.colour.blue : 0) << "at " << i;
    }
}

// Stored coordinates lie within one and a half units of 1/10000 m.
constexpr double kRecordStep = 0.00015;

TEST(SimulatedCLR, EveryCellReadsBackInEveryPointFormat) {
    const auto expected = truth("courtyard", {});
    const Measurement& lowest = expected[2 * kGrid.rows - 1];  // of column 1
    for (std::uint8_t format = 0; format < 4; ++format) {
        SCOPED_TRACE(int{format});
        const TempFolder folder;
        ScanPlan plan = planIn(folder);
        plan.pointFormat = CLRPointFormat{format};
        simulate(plan, {});
        expectSame(readCells<CLRGridCodec>(folder / "scan.clr"), expected, kRecordStep);
        if (format == 2) continue;
        const auto bytes = readFile(folder / "scan.clr");
        ASSERT_EQ(bytes.size(), 120u + 1 + 20 * kGrid.cells());
        // Odd columns lie bottom-up, except in format 3.
        const std::size_t row = format == 3 ? kGrid.rows - 1 : 0;
        CLRPoint record;
        record.Decode(bytes.data() + 121 + 20 * (kGrid.rows + row));
        EXPECT_NEAR(record.GetZ(), lowest.z, kRecordStep);
    }
}

TEST(SimulatedCLR, SeriesContinuesItsPassesAndNoOlderSeries) {
    const TempFolder folder;
    ScanPlan plan = planIn(folder);
    plan.series = 2;
    writeFile(folder / "scan_002.clr", "of an older series");
    EXPECT_THROW(simulate(plan, {}), scan::ScanError);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"scan_002.clr"});
    std::filesystem::remove(folder / "scan_002.clr");
    simulate(plan, {});
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"scan_000.clr", "scan_001.clr"}));
    for (std::uint8_t n = 0; n < 2; ++n)
        expectSame(readCells<CLRGridCodec>(folder / folder.names().at(n)),
                   truth("courtyard", {n, n}), kRecordStep);
}

TEST(SimulatedCL3, HoldsEveryPointWithItsColourAndEveryCell) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    ScanPlan plan = planIn(folder, ScanFormat::CL3);
    plan.colour = true;
    simulate(plan, {});
    auto expected = truth("courtyard", {});
    std::erase_if(expected, [](const Measurement& cell) { return !cell.measured(); });
    expectSame(readCells<CL3Codec>(path), expected, 0, true);
    EXPECT_EQ(std::filesystem::file_size(path), 115 + 5 + 31 * expected.size());
    EXPECT_EQ(folder.names(), std::vector<std::string>{"scan.cl3"});
    plan = planIn(folder, ScanFormat::CL3Indexed);
    plan.scene = "room";
    plan.overwrite = true;
    simulate(plan, {});
    expectSame(readCells<CL3GridCodec>(path), truth("room", {}), 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"scan.alg", "scan.cl3", "scan.ij"}));
}

TEST(SimulatedAlignment, IsTheStationsPoseForEveryFormat) {
    const auto pose = makeCourtyard().pose.matrix();
    for (const auto format : {ScanFormat::CLR, ScanFormat::CL3, ScanFormat::CL3Indexed}) {
        const TempFolder folder;
        ScanPlan plan = planIn(folder, format);
        plan.alignment = true;
        EXPECT_EQ(simulate(plan, {}).pose, pose);
        double matrix[16] = {};
        ASSERT_TRUE(readAlignmentFile((folder / "scan.alg").c_str(), matrix));
        EXPECT_TRUE(std::ranges::equal(pose, matrix));  // to the last bit
    }
}

TEST(Simulation, ScanThatCannotFitIsRefusedAtOnceAndItsFolderGoes) {
    const TempFolder folder;
    const struct {
        ScanFormat format;
        std::uint8_t pointFormat;
        std::uint32_t columns, rows, files, blocks;
    } cases[] = {{ScanFormat::CLR, 1, 1000000, 10000, 1, 1000},  // a terabyte at least, each
                 {ScanFormat::CLR, 2, 1000000, 10000, 100, 30},
                 {ScanFormat::CL3Indexed, 1, 1000000000, 1, 0, 1}};
    for (const auto& [format, pointFormat, columns, rows, files, blocks] : cases) {
        ScanPlan plan = planIn(folder, format);
        plan.pointFormat = CLRPointFormat{pointFormat};
        plan.grid.columns = columns;
        plan.grid.rows = rows;
        plan.series = files;
        plan.blocks = blocks;
        plan.folder += "/new/inner";
        EXPECT_THROW(simulate(plan, {}), scan::ScanError);
    }
    EXPECT_TRUE(folder.names().empty());
    ScanPlan plain = planIn(folder);
    plain.folder += "/new/inner";
    EXPECT_EQ(simulate(plain, {}).files.at(0).path, folder / "new/inner/scan.clr");
    EXPECT_TRUE(std::filesystem::exists(folder / "new/inner/scan.clr"));
}

TEST(Simulation, CancellingLeavesNothing) {
    const TempFolder folder;
    const auto cancel = [](const scan::ProgressUpdate&) { return false; };
    EXPECT_THROW(simulate(planIn(folder), cancel), scan::ScanError);
    EXPECT_TRUE(folder.names().empty());
}

}  // namespace
}  // namespace brisko::simulator
