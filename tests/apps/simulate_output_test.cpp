#include "apps/tool_run.h"
#include "simulate/scanner.h"
#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <brisko_codec/brisko_codec.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

namespace brisko::tool {
namespace {

using namespace brisko::test;

// More rows than one compressed piece holds, more columns than one band has.
constexpr ScanGrid kGrid{300, 260, 360, 0, 20, 150};

/// Simulates the grid above into a folder.
ToolRun simulateInto(const TempFolder& folder, std::vector<std::string> more) {
    more.insert(more.begin(), {"--columns", "300", "--rows", "260"});
    return test::simulate(folder, more);
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
        const Measurement point{p.x, p.y, p.z, p.intensity, {p.red, p.green, p.blue}};
        if (isGrid) {
            EXPECT_LT(p.row, kGrid.rows);
            Measurement& cell = cells.at(p.column * std::size_t{kGrid.rows} + p.row);
            EXPECT_FALSE(cell.measured()) << "cell " << p.column << ", " << p.row << " twice";
            cell = point;
        } else {
            cells.push_back(point);
        }
    }
    return cells;
}

void expectSame(const std::vector<Measurement>& found, const std::vector<Measurement>& expected,
                double tolerance, bool coloured = false) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        ASSERT_EQ(found[i].intensity, expected[i].intensity) << "at " << i;
        ASSERT_NEAR(found[i].x, expected[i].x, tolerance) << "at " << i;
        ASSERT_NEAR(found[i].y, expected[i].y, tolerance) << "at " << i;
        ASSERT_NEAR(found[i].z, expected[i].z, tolerance) << "at " << i;
        ASSERT_EQ(found[i].colour.red, coloured ? expected[i].colour.red : 0) << "at " << i;
        ASSERT_EQ(found[i].colour.blue, coloured ? expected[i].colour.blue : 0) << "at " << i;
    }
}

std::vector<Measurement> measuredOnes(std::vector<Measurement> cells) {
    std::erase_if(cells, [](const Measurement& cell) { return !cell.measured(); });
    return cells;
}

double rangeOf(const Measurement& cell) {
    return std::sqrt(cell.x * cell.x + cell.y * cell.y + cell.z * cell.z);
}

// Stored coordinates lie within one and a half units of 1/10000 m.
constexpr double kRecordStep = 0.00015;

TEST(SimulatedCLR, EveryCellReadsBackInEveryPointFormat) {
    const auto expected = truth("courtyard", {});
    const Measurement& lowest = expected[2 * kGrid.rows - 1];  // of column 1
    for (const char* format : {"0", "1", "2", "3"}) {
        SCOPED_TRACE(format);
        const TempFolder folder;
        simulateInto(folder, {"--point-format", format});
        expectSame(readCells<CLRGridCodec>(folder / "scan.clr"), expected, kRecordStep);
        if (*format == '2') continue;
        const auto bytes = readFile(folder / "scan.clr");
        ASSERT_EQ(bytes.size(), 120u + 1 + 20 * kGrid.cells());
        // Odd columns lie bottom-up, except in format 3.
        const std::size_t row = *format == '3' ? kGrid.rows - 1 : 0;
        CLRPoint record;
        record.Decode(bytes.data() + 121 + 20 * (kGrid.rows + row));
        EXPECT_NEAR(record.GetZ(), lowest.z, kRecordStep);
    }
}

TEST(SimulatedCLR, HeaderTellsGridAnglesAndModel) {
    const TempFolder folder;
    simulateInto(folder, {"--model", "RVX2000", "--azimuth=-90:30", "--flags", "0,4,1"});
    CLRFileHeader header;
    ASSERT_TRUE(header.Read((folder / "scan.clr").c_str()));
    EXPECT_EQ(header.GetFileVersion(), std::string("CLR_0.7").append(25, '\0'));
    EXPECT_EQ(header.GetModelName(), std::string("RVX2000").append(5, '\0'));
    EXPECT_EQ(header.GetAzimuthResolution(), kGrid.columns);
    EXPECT_EQ(header.GetZenithResolution(), kGrid.rows);
    EXPECT_EQ(header.GetStartAzimuthAngle(), -90);
    EXPECT_EQ(header.GetStopAzimuthAngle(), 30);
    EXPECT_EQ(header.GetStartZenithAngle(), 20);
    EXPECT_EQ(header.GetStopZenithAngle(), 150);
    EXPECT_FLOAT_EQ(header.GetDeltaAzimuthAngle(), 0.4f);
    EXPECT_EQ(header.GetPointFormat(), 1);
    EXPECT_EQ(header.GetBlockCount(), 3u);
    const auto bytes = readFile(folder / "scan.clr");
    const std::size_t block = 1 + 20 * kGrid.cells();
    ASSERT_EQ(bytes.size(), 120 + 3 * block);
    for (const auto& [number, flag] : {std::pair{0, 0}, {1, 4}, {2, 1}})
        EXPECT_EQ(bytes[120 + static_cast<std::size_t>(number) * block], flag);
}

TEST(SimulatedCLR, BlocksMergeToTheFarthestReturnOfEachCell) {
    for (const char* format : {"1", "2"}) {
        SCOPED_TRACE(format);
        const TempFolder folder;
        simulateInto(folder, {"--scene", "room", "--blocks", "3", "--point-format", format});
        const auto found = readCells<CLRGridCodec>(folder / "scan.clr");
        std::vector<Measurement> passes[3];
        for (std::uint32_t b = 0; b < 3; ++b)
            passes[b] = truth("room", {b, static_cast<std::uint8_t>(b)});
        std::size_t strays = 0;
        for (std::size_t i = 0; i < found.size(); ++i) {
            double farthest = 0, nearest = 1000;
            for (const auto& pass : passes) {
                if (!pass[i].measured()) continue;
                farthest = std::max(farthest, rangeOf(pass[i]));
                nearest = std::min(nearest, rangeOf(pass[i]));
            }
            ASSERT_EQ(found[i].measured(), farthest > 0) << "at " << i;
            ASSERT_NEAR(rangeOf(found[i]), farthest, 0.02) << "at " << i;
            strays += nearest < farthest - 0.1;
        }
        EXPECT_GT(strays, 100u);  // or the merge had nothing to decide
    }
}

TEST(SimulatedCLR, SeriesContinuesItsPasses) {
    const TempFolder folder;
    simulateInto(folder, {"--series", "2", "--name", "tower"});
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"tower_000.clr", "tower_001.clr"}));
    for (const std::uint8_t n : {std::uint8_t{0}, std::uint8_t{1}})
        expectSame(readCells<CLRGridCodec>(folder / folder.names().at(n)),
                   truth("courtyard", {n, n}), kRecordStep);
}

TEST(SimulatedCLR, SeriesIsRefusedWhereAnOlderOneWouldContinueIt) {
    const TempFolder folder;
    writeFile(folder / "scan_002.clr", "of an older series");
    EXPECT_EQ(simulateInto(folder, {"--series", "2"}).code, 4);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"scan_002.clr"});
    EXPECT_EQ(simulateInto(folder, {"--series", "3", "--overwrite"}).code, 0);
    EXPECT_EQ(folder.names().size(), 3u);
}

TEST(SimulatedCL3, HoldsEveryPointWithItsColourAndEveryCell) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    simulateInto(folder, {"--format", "cl3", "--colour"});
    const auto expected = measuredOnes(truth("courtyard", {}));
    expectSame(readCells<CL3Codec>(path), expected, 0, true);
    EXPECT_EQ(std::filesystem::file_size(path), 115 + 5 + 31 * expected.size());
    EXPECT_EQ(folder.names(), std::vector<std::string>{"scan.cl3"});
    CL3FileHeader header;
    ASSERT_TRUE(header.Read(path.c_str()));
    EXPECT_EQ(header.GetAzimuthResolution(), kGrid.columns);
    EXPECT_EQ(header.GetZenithResolution(), kGrid.rows);
    EXPECT_EQ(header.GetStartAzimuthAngle(), 360);

    simulateInto(folder, {"--format", "cl3-indexed", "--scene", "room", "--overwrite"});
    expectSame(readCells<CL3GridCodec>(path), truth("room", {}), 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"scan.alg", "scan.cl3", "scan.ij"}));
}

TEST(SimulatedAlignment, IsTheStationsPoseForEveryFormat) {
    const auto pose = makeCourtyard().pose.matrix();
    for (const char* format : {"clr", "cl3", "cl3-indexed"}) {
        const TempFolder folder;
        simulateInto(folder, {"--format", format, "--alignment"});
        double matrix[16] = {};
        ASSERT_TRUE(readAlignmentFile((folder / "scan.alg").c_str(), matrix)) << format;
        EXPECT_TRUE(std::ranges::equal(pose, matrix)) << format;  // to the last bit
        if (std::string(format) != "clr") continue;
        double low[3], high[3];
        std::int64_t count = 0;
        const auto codec = openScan<CLRCodec>(folder / "scan.clr");
        codec->GetBounds(low[0], low[1], low[2], high[0], high[1], high[2], count);
        EXPECT_NEAR(low[2], -0.05, 0.02);  // the lawn; without the pose it would be 1.6 m lower
    }
}

TEST(SimulateCommand, TellsWhatItWroteAsJson) {
    const TempFolder folder;
    const auto told = nlohmann::json::parse(
        simulateInto(folder, {"--json", "--series", "2", "--point-format", "2", "--alignment"})
            .out);
    EXPECT_EQ(told["schema"], "brisko.simulate/1");
    ASSERT_EQ(told["files"].size(), 2u);
    EXPECT_EQ(told["files"][0]["path"], folder / "scan_000.clr");
    EXPECT_EQ(told["files"][0]["bytes"], std::filesystem::file_size(folder / "scan_000.clr"));
    EXPECT_EQ(told["files"][0]["returns"], measuredOnes(truth("courtyard", {})).size());
    EXPECT_EQ(told["pose"].size(), 16u);
}

TEST(SimulateCommand, FullDiskLeavesWhatWasThere) {
    for (const char* format : {"clr", "cl3", "cl3-indexed"}) {
        SCOPED_TRACE(format);
        const TempFolder folder;
        const std::string name = format[2] == 'r' ? "scan.clr" : "scan.cl3";
        writeFile(folder / name, "an older scan");
        {
            const FileSizeLimit limit(100000);
            const ToolRun result = simulateInto(folder, {"--format", format, "--alignment"});
            EXPECT_EQ(result.code, 4);
            EXPECT_TRUE(contains(result.err, name)) << result.err;
        }
        EXPECT_EQ(folder.names(), std::vector<std::string>{name});
        EXPECT_EQ(readText(folder / name), "an older scan");
    }
}

TEST(SimulateCommand, ScanThatCannotFitIsRefusedAtOnce) {
    const TempFolder folder;
    // A terabyte at least, each.
    using Arguments = std::vector<std::string>;
    for (const Arguments& huge :
         {Arguments{"--blocks", "1000", "--columns", "1000000", "--rows", "10000"},
          {"--series", "100", "--blocks", "30", "--columns", "1000000", "--rows", "10000",
           "--point-format", "2"},
          {"--format", "cl3-indexed", "--columns", "1000000000", "--rows", "1"}})
        EXPECT_EQ(test::simulate(folder, huge).code, 4);
    EXPECT_TRUE(folder.names().empty());
}

TEST(SimulateCommand, MakesItsFolderAndTakesItBackWhenNothingComesOfIt) {
    const TempFolder folder;
    const std::string inner = folder / "new/inner";
    {
        const FileSizeLimit limit(1000);
        EXPECT_EQ(run({"simulate", inner, "--columns", "100", "--rows", "100"}).code, 4);
    }
    EXPECT_TRUE(folder.names().empty());
    EXPECT_EQ(run({"simulate", inner, "--columns", "10", "--rows", "10"}).code, 0);
    EXPECT_TRUE(std::filesystem::exists(inner + "/scan.clr"));
}

}  // namespace
}  // namespace brisko::tool
