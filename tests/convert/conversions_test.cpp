// What conversions tell of their stages, and what they never write over.

#include "support/conversion_fixture.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using test::CountingMonitor;
using test::TempFolder;

TEST(Conversions, TellsItsStagesByTheirLabels) {
    const test::SilentOutput silent;
    const TempFolder folder;
    for (const char* name : {"a_000.clr", "a_001.clr"})
        test::writeFile(folder / name, test::rawScan({}));
    vexo::ProgressTracker tracker;
    CountingMonitor monitor;
    tracker.addMonitor(&monitor);
    EXPECT_TRUE(ClrToCl3IjIndexed(folder / "a_000.clr", &tracker));
    EXPECT_EQ(monitor.names, (std::vector<std::string>{"Pcp combineMultiCLR", "Pcp SortCLR",
                                                       "Convert CLR to CL3", "Pcp Indexing1"}));
}

TEST(Conversions, OutputsThatCannotBeReplacedStay) {
    const test::SilentOutput silent;
    const TempFolder folder;
    test::writeFile(folder / "a.clr", test::rawScan({.model = "RXL1000", .format = 3}));
    std::filesystem::create_directory(folder / "a_index.cl3");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a_index.cl3"));

    // A link is followed; one that leads to the input is refused.
    std::filesystem::remove(folder / "a_index.cl3");
    std::filesystem::create_symlink(folder / "a.clr", folder / "a_index.cl3");
    const auto input = test::readFile(folder / "a.clr");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_EQ(test::readFile(folder / "a.clr"), input);
}

TEST(Conversions, TheUsersAlignmentIsNeverWritten) {
    const test::SilentOutput silent;
    const TempFolder folder;
    test::writeFile(folder / "a_index.clr", test::rawScan({}));
    const std::string alignment =
        "CL3_ALG_0.1\n1 0 0 5\n0 1 0 6\n0 0 1 7\n0 0 0 1\n2200\n1\n1\nhand-made\n";
    test::writeFile(folder / "a_index.alg", alignment);
    EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "a_index.clr"));
    EXPECT_EQ(test::readText(folder / "a_index.alg"), alignment);
    EXPECT_EQ(test::pointsByCell<CL3GridCodec>(folder / "a_index.cl3"),
              test::pointsByCell<CLRGridCodec>(folder / "a_index.clr"));
}

}  // namespace
}  // namespace brisko
