#include "simulate/simulate_options.h"
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>
#include <CLI/CLI.hpp>

#include <map>

namespace brisko::tool {

using namespace scan;
namespace {

/// The plan that a command line stands for.
ScanPlan planOf(const std::string& line) {
    CLI::App command;
    SimulateOptions options;
    options.addTo(command);
    command.parse(line + " out");  // behind a list of flags, too
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
            } catch (const ScanError& error) {
                EXPECT_EQ(error.kind(), ErrorKind::Request) << line;
                EXPECT_NE(std::string(error.what()).find(named), std::string::npos)
                    << line << " gave: " << error.what();
            }
        }
    }
    // What is no number or no choice at all is the parser's to refuse.
    for (const char* line :
         {"--columns ten", "--format las", "--scene moon", "--photos w30",
          "--photos W30 --photo-scale 3", "--noise=-1", "--noise=-0", "--noise nan"})
        EXPECT_THROW(planOf(line), CLI::ParseError) << line;
}

TEST(SimulateOptions, GridSpreadsItsAnglesFromTheStart) {
    const ScanGrid grid = planOf("--columns 8 --rows 5 --azimuth=-90:90 --zenith 150:100").grid;
    EXPECT_DOUBLE_EQ(grid.azimuth(0), -90);
    EXPECT_DOUBLE_EQ(grid.azimuth(7), 67.5);
    EXPECT_DOUBLE_EQ(grid.zenith(0), 150);
    EXPECT_DOUBLE_EQ(grid.zenith(4), 110);
}

TEST(SimulateOptions, BlocksGoThroughTheFlagsUnlessTheyAreGiven) {
    const ScanPlan free = planOf("--blocks 3 --series 2");
    EXPECT_EQ(free.pass(0, 2).flag, 2);
    EXPECT_EQ(free.pass(1, 2).flag, 0);  // the sixth pass begins anew
    EXPECT_EQ(free.pass(1, 2).number, 5u);

    const ScanPlan given = planOf("--flags 4,1");
    EXPECT_EQ(given.blocks, 2u);
    EXPECT_EQ(given.pass(0, 0).flag, 4);
    EXPECT_EQ(given.pass(0, 1).flag, 1);
}

}  // namespace
}  // namespace brisko::tool
