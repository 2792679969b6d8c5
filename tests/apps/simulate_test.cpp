#include <brisko_scan/scan_error.h>
#include "apps/tool_run.h"
#include "simulate/simulate_options.h"

#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

namespace brisko::tool {
namespace {

/// The plan that a command line stands for.
simulator::ScanPlan planOf(const std::string& line) {
    CLI::App command;
    SimulateOptions options;
    options.addTo(command);
    command.parse(line + " out");  // after a list of flags, too
    return options.plan(command);
}

TEST(SimulateOptions, RefusesWhatMakesNoSenseAndNamesTheOption) {
    const std::map<std::string, std::vector<std::string>> cases = {
        {"--columns", {"--columns 0", "--columns 4294967297", "--columns 1000000000 --rows 100"}},
        {"-5", {"--columns -5"}},
        {"--rows", {"--rows 0", "--rows 100001"}},
        {"--azimuth",
         {"--azimuth 10", "--azimuth 10:", "--azimuth 10:20x", "--azimuth 0:nan", "--azimuth 10:10",
          "--azimuth=-200:200", "--azimuth 0:361"}},
        {"--zenith", {"--zenith 20:181", "--zenith=-1:20", "--zenith 2,5:20"}},
        {"--point-format", {"--point-format 4", "--format cl3 --point-format 1"}},
        {"--blocks", {"--blocks 0", "--format cl3 --blocks 2"}},
        {"--flags", {"--blocks 2 --flags 0,1,2", "--flags 256"}},
        {"--series", {"--format cl3-indexed --series 2"}},
        {"--colour", {"--colour"}},
        {"--name", {"--name a/b", "--name ..", "--photos own --name x.jpg"}},
        {"--model", {"--model ThirteenChars"}},
        {"--photo-scale", {"--photo-scale 2"}},
    };
    for (const auto& [named, lines] : cases) {
        for (const std::string& line : lines) {
            try {
                planOf(line);
                ADD_FAILURE() << line << " was taken";
            } catch (const scan::ScanError& failure) {
                EXPECT_EQ(failure.kind(), scan::ErrorKind::Request) << line;
                EXPECT_NE(std::string(failure.what()).find(named), std::string::npos)
                    << line << " gave: " << failure.what();
            }
        }
    }
    // The parser refuses what is no number or no choice at all.
    for (const char* line :
         {"--columns ten", "--format las", "--scene moon", "--photos w30",
          "--photos W30 --photo-scale 3", "--noise=-1", "--noise=-0", "--noise nan"})
        EXPECT_THROW(planOf(line), CLI::ParseError) << line;
}

TEST(SimulateOptions, GridSpreadsItsAnglesFromTheStart) {
    const simulator::ScanGrid grid =
        planOf("--columns 8 --rows 5 --azimuth=-90:90 --zenith 150:100").grid;
    EXPECT_DOUBLE_EQ(grid.azimuth(0), -90);
    EXPECT_DOUBLE_EQ(grid.azimuth(7), 67.5);
    EXPECT_DOUBLE_EQ(grid.zenith(0), 150);
    EXPECT_DOUBLE_EQ(grid.zenith(4), 110);
}

TEST(SimulateOptions, BlocksGoThroughTheFlagsUnlessTheyAreGiven) {
    const simulator::ScanPlan free = planOf("--blocks 3 --series 2");
    EXPECT_EQ(free.pass(0, 2).flag, 2);
    EXPECT_EQ(free.pass(1, 2).flag, 0);  // the sixth pass begins again
    EXPECT_EQ(free.pass(1, 2).number, 5u);

    const simulator::ScanPlan given = planOf("--flags 4,1");
    EXPECT_EQ(given.blocks, 2u);
    EXPECT_EQ(given.pass(0, 0).flag, 4);
    EXPECT_EQ(given.pass(0, 1).flag, 1);
}

TEST(SimulateCommand, ReportsWhatItWroteAsJson) {
    const test::TempFolder folder;
    const test::ToolRun result =
        test::simulate(folder, {"--json", "--series", "2", "--columns", "20", "--rows", "10",
                                "--photos", "own", "--photo-scale", "8"});
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["schema"], "brisko.simulate/1");
    ASSERT_EQ(report["files"].size(), 2u);
    EXPECT_EQ(report["files"][0]["path"], folder / "scan/scan_000.clr");
    EXPECT_EQ(report["files"][0]["bytes"], 121 + 20 * 20 * 10);
    EXPECT_LE(report["files"][0]["returns"], 200);
    EXPECT_EQ(report["photos"]["width"], 150);
    EXPECT_EQ(report["pose"].size(), 16u);
}

}  // namespace
}  // namespace brisko::tool
