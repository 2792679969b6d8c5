#include "simulate/simulate_options.h"
#include "apps/simulate_run.h"
#include "common/failure.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

namespace brisko::tool {
namespace {

/// The plan that a command line stands for.
ScanPlan planOf(std::vector<std::string> arguments) {
    CLI::App command;
    SimulateOptions options;
    options.addTo(command);
    arguments.push_back("out");  // behind a list of flags, too
    command.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    return options.plan(command);
}

TEST(SimulateOptions, RefusesWhatMakesNoSenseAndNamesTheOption) {
    struct {
        std::vector<std::string> arguments;
        const char* named;
    } const cases[] = {
        {{"--columns", "0"}, "--columns"},
        {{"--columns", "-5"}, "-5"},
        {{"--columns", "4294967297"}, "--columns"},
        {{"--rows", "0"}, "--rows"},
        {{"--rows", "100001"}, "--rows"},
        {{"--columns", "1000000000", "--rows", "100"}, "--columns"},
        {{"--azimuth", "10"}, "--azimuth"},
        {{"--azimuth", "10:"}, "--azimuth"},
        {{"--azimuth", "10:20x"}, "--azimuth"},
        {{"--azimuth", "0:nan"}, "--azimuth"},
        {{"--azimuth", "10:10"}, "--azimuth"},
        {{"--azimuth=-200:200"}, "--azimuth"},
        {{"--azimuth", "0:361"}, "--azimuth"},
        {{"--zenith", "20:181"}, "--zenith"},
        {{"--zenith=-1:20"}, "--zenith"},
        {{"--zenith", "2,5:20"}, "--zenith"},
        {{"--point-format", "4"}, "--point-format"},
        {{"--blocks", "0"}, "--blocks"},
        {{"--blocks", "2", "--flags", "0,1,2"}, "--flags"},
        {{"--flags", "256"}, "--flags"},
        {{"--format", "cl3", "--blocks", "2"}, "--blocks"},
        {{"--format", "cl3-indexed", "--series", "2"}, "--series"},
        {{"--format", "cl3", "--point-format", "1"}, "--point-format"},
        {{"--colour"}, "--colour"},
        {{"--name", "a/b"}, "--name"},
        {{"--name", ".."}, "--name"},
        {{"--model", "thirteen char"}, "--model"},
        {{"--noise=-1"}, "--noise"},
        {{"--photo-scale", "2"}, "--photo-scale"},
        {{"--photos", "own", "--name", "x.jpg"}, "--name"},
    };
    for (const auto& bad : cases) {
        const std::string line = bad.arguments.front() + " " + bad.arguments.back();
        try {
            planOf(bad.arguments);
            ADD_FAILURE() << line << " was taken";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::Usage) << line;
            EXPECT_NE(std::string(failure.what()).find(bad.named), std::string::npos)
                << line << " gave: " << failure.what();
        }
    }
}

TEST(SimulateOptions, ParserRefusesWhatIsNoNumberOrNoneOfItsChoices) {
    EXPECT_THROW(planOf({"--columns", "ten"}), CLI::ParseError);
    EXPECT_THROW(planOf({"--format", "las"}), CLI::ParseError);
    EXPECT_THROW(planOf({"--scene", "moon"}), CLI::ParseError);
    EXPECT_THROW(planOf({"--photos", "w30"}), CLI::ParseError);
    EXPECT_THROW(planOf({"--photos", "W30", "--photo-scale", "3"}), CLI::ParseError);
}

TEST(SimulateOptions, GridSpreadsItsAnglesFromTheStart) {
    const ScanGrid grid =
        planOf({"--columns", "8", "--rows", "5", "--azimuth=-90:90", "--zenith", "150:100"}).grid;
    EXPECT_DOUBLE_EQ(grid.azimuth(0), -90);
    EXPECT_DOUBLE_EQ(grid.azimuth(7), 67.5);
    EXPECT_DOUBLE_EQ(grid.zenith(0), 150);
    EXPECT_DOUBLE_EQ(grid.zenith(4), 110);
}

TEST(SimulateOptions, BlocksGoThroughTheFlagsUnlessTheyAreGiven) {
    const ScanPlan free = planOf({"--blocks", "3", "--series", "2"});
    EXPECT_EQ(free.pass(0, 0).flag, 0);
    EXPECT_EQ(free.pass(0, 2).flag, 2);
    EXPECT_EQ(free.pass(1, 2).flag, 0);  // the sixth pass begins anew
    EXPECT_EQ(free.pass(1, 2).number, 5u);

    const ScanPlan given = planOf({"--flags", "4,1"});
    EXPECT_EQ(given.blocks, 2u);
    EXPECT_EQ(given.pass(0, 0).flag, 4);
    EXPECT_EQ(given.pass(0, 1).flag, 1);
}

}  // namespace
}  // namespace brisko::tool
