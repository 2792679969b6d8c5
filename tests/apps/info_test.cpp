#include "apps/made_scan.h"
#include "support/scan_bytes.h"

#include <brisko_codec/file_header.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <brisko_scan/inspect.h>
#include <csignal>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;

Json info(const std::vector<std::string>& arguments) {
    return Json::parse(run(arguments).out);
}

TEST(Info, TellsHeaderGridIndexAndAlignmentWithoutReadingPoints) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(300, 5, {0, 1, 0, 1}, true, kTurnedLines));
    convert(folder / "a.ptx", folder / "a.cl3");
    const Json document = info({"info", "--json", folder / "a.cl3", folder / "a.ptx"});
    EXPECT_EQ(document["schema"], "brisko.info/1");
    const Json& scan = document["scans"][0];
    EXPECT_EQ(scan["path"], folder / "a.cl3");
    EXPECT_EQ(scan["format"], "CL3");
    EXPECT_EQ(scan["bytes"], std::filesystem::file_size(folder / "a.cl3"));
    EXPECT_EQ(scan["header"]["fileVersion"], "CL3_0.7");
    EXPECT_EQ(scan["header"]["modelName"], "");
    EXPECT_EQ(scan["header"]["blockCount"], 2);
    EXPECT_EQ(scan["grid"], (Json{{"columns", 300}, {"rows", 5}}));
    EXPECT_EQ(scan["index"]["tiles"], 2);
    EXPECT_EQ(scan["index"]["points"], scan["records"]);
    EXPECT_EQ(scan["alignment"]["source"], "file");
    EXPECT_EQ(scan["alignment"]["matrix"][3], 10);
    EXPECT_EQ(scan["alignment"]["matrix"][1], -1);
    EXPECT_TRUE(scan["count"].is_null());
    EXPECT_EQ(scan["problems"], Json::array());
    const Json& text = document["scans"][1];
    EXPECT_TRUE(text["header"].is_null());
    EXPECT_TRUE(text["index"].is_null());
    EXPECT_EQ(text["grid"], scan["grid"]);
    EXPECT_EQ(text["alignment"], scan["alignment"]);
}

TEST(Info, CountsAlignedPoints) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 3, "1 2 3 0.5\n0 0 0 0.5\n-4 6 5 0.25\n", kTurnedLines));
    const Json expected = {{"points", 2},
                           {"coloured", 0},
                           {"bounds", {{"min", {4, 16, 33}}, {"max", {8, 21, 35}}}},
                           {"intensity", {{"min", 550}, {"max", 1100}}}};
    convert(folder / "a.ptx", folder / "a.cl3");
    convert(folder / "a.ptx", folder / "b.clr");
    for (const char* name : {"a.ptx", "a.cl3", "b.clr"}) {
        const Json scan = info({"info", "--json", "--count", folder / name})["scans"][0];
        EXPECT_EQ(scan["count"], expected) << name;
        const Json& statistics = scan["statistics"];
        EXPECT_EQ(statistics["cells"], 3) << name;
        EXPECT_NEAR(statistics["range"]["min"], std::sqrt(14.0), 1e-6) << name;
        EXPECT_NEAR(statistics["range"]["max"], std::sqrt(77.0), 1e-6) << name;
        EXPECT_NEAR(statistics["range"]["median"], std::sqrt(14.0), 0.04) << name;
        EXPECT_EQ(statistics["intensity"]["mean"], 825) << name;
    }
    const std::string two = readText(folder / "a.ptx");
    writeFile(folder / "two.ptx", two + two);
    EXPECT_EQ(
        info({"info", "--json", "--count", folder / "two.ptx"})["scans"][0]["scans"][1]["count"],
        expected);
    const std::string table = run({"info", "--table", "--count", folder / "two.ptx"}).out;
    EXPECT_TRUE(contains(table, "PTX     1 x 3       2  66.6 %  3.74 m")) << table;
    writeFile(folder / "none.ptx", ptxText(1, 1, "0 0 0 0.5\n"));
    const Json none = info({"info", "--json", "--count", folder / "none.ptx"})["scans"][0];
    EXPECT_EQ(none["count"]["points"], 0);
    EXPECT_TRUE(none["count"]["bounds"].is_null());
}

TEST(Info, NumbersThatAreNotFiniteAreNullAndTextsLosePaddingAndBadBytes) {
    const TempFolder folder;
    CLRFileHeader header;
    header.SetModelName("RVX1000  ");
    header.SetSerialNumber("\x1b[2J\n\xff\xc2\x9b");
    header.SetTemperature(std::numeric_limits<float>::quiet_NaN());
    header.SetPressure(std::numeric_limits<float>::infinity());
    header.SetStartAzimuthAngle(0.1f);
    std::FILE* file = std::fopen((folder / "a.clr").c_str(), "wb");
    header.Write(file);
    std::fclose(file);
    const std::string text = run({"info", folder / "a.clr"}).out;
    EXPECT_TRUE(contains(text, R"(serial number \x1B[2J\x0A\xFF\xC2\x9B,)")) << text;
    const ToolRun json = run({"info", "--json", folder / "a.clr"});
    EXPECT_TRUE(contains(json.out, R"(\u001b[2J\n)")) << json.out;
    EXPECT_TRUE(contains(json.out, R"(\u009b)")) << json.out;
    const Json fields = Json::parse(json.out)["scans"][0]["header"];
    EXPECT_EQ(fields["modelName"], "RVX1000");
    EXPECT_TRUE(fields["temperature"].is_null());
    EXPECT_TRUE(fields["pressure"].is_null());
    EXPECT_TRUE(fields["deltaAzimuth"].is_null());
    EXPECT_EQ(fields["startAzimuth"].dump(), "0.1");
}

TEST(Info, ExitCodeTellsWhetherSomeOrAllInputsFailed) {
    const TempFolder folder;
    writeFile(folder / "good.ptx", ptxText(1, 1, "1 2 3 0.5\n"));
    convert(folder / "good.ptx", folder / "good.cl3", {"--plain"});
    writeFile(folder / "bad.cl3", "bad");
    writeFile(folder / "odd.alg", "not an alignment");
    std::filesystem::copy(folder / "good.cl3", folder / "odd.cl3");
    const std::string good = folder / "good.cl3", bad = folder / "bad.cl3";
    EXPECT_EQ(run({"info", good, good}).code, 0);
    EXPECT_EQ(run({"info", good, bad}).code, 1);
    EXPECT_EQ(run({"info", bad, bad}).code, 3);
    EXPECT_EQ(run({"info", folder / "none.ptx"}).code, 3);
    EXPECT_EQ(run({"info", folder / "odd.cl3"}).code, 3);
    EXPECT_EQ(run({"info", folder / "a.txt"}).code, 2);
    // What the library prints about the alignment does not get between the results.
    const Json odd = info({"info", "--json", folder / "odd.cl3"});
    EXPECT_EQ(odd["scans"][0]["alignment"]["source"], "unreadable");
    const Json document = info({"info", "--json", bad, good});
    EXPECT_TRUE(contains(document["scans"][0]["problems"][0], "bad.cl3"));
    EXPECT_EQ(document["scans"][1]["records"], 1);
}

TEST(Cell, TellsThePointOfACell) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(2, 2,
                                        "0 0 0 0.5 0 0 0\n0 0 0 0.5 0 0 0\n"
                                        "0 0 0 0.5 0 0 0\n1 2 3 0.1 4 5 6\n",
                                        kTurnedLines));
    const std::string scan = convert(folder / "a.ptx", folder / "a.cl3");
    EXPECT_EQ(run({"cell", scan, "1", "1"}).out,
              "column 1, row 1: 8 21 33, intensity 220, colour 4 5 6\n");
    EXPECT_EQ(run({"cell", scan, "0", "1"}).out, "column 0, row 1: empty\n");
    const Json found = info({"cell", scan, "1", "1", "--json", "--scanner-frame"});
    EXPECT_EQ(found["schema"], "brisko.cell/1");
    EXPECT_EQ(found["point"],
              (Json{{"x", 1}, {"y", 2}, {"z", 3}, {"intensity", 220}, {"colour", {4, 5, 6}}}));
    EXPECT_TRUE(info({"cell", scan, "0", "0", "--json"})["point"].is_null());
}

TEST(Tool, ResultsThatCannotBeDeliveredAreAnErrorUnlessNobodyWantsThem) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 1, "1 2 3 0.5\n"));
    const std::string scan = folder / "a.ptx";
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    close(pipe[0]);
    std::signal(SIGPIPE, SIG_IGN);
    const struct {
        int output, code;
        const char* message;
    } cases[] = {
        {open("/dev/full", O_WRONLY), 4, "brisko: standard output: the results could not be"},
        {pipe[1], kClosedPipe, ""},
    };
    for (const auto& [output, expected, message] : cases) {
        const int before = dup(STDOUT_FILENO);
        dup2(output, STDOUT_FILENO);
        const char* line[] = {"brisko", "info", scan.c_str()};
        testing::internal::CaptureStderr();
        const int code = runTool(3, line);
        const std::string told = testing::internal::GetCapturedStderr();
        dup2(before, STDOUT_FILENO);
        close(before);
        close(output);
        EXPECT_EQ(code, expected);
        EXPECT_TRUE(*message ? told.starts_with(message) : told.empty()) << told;
    }
}

TEST(Tool, HelpFitsItsLinesAndListsExitCodes) {
    EXPECT_EQ(run({"--version"}).out, "brisko 1.3.0\n");
    EXPECT_EQ(run({"-V"}).out, "brisko 1.3.0\n");
    for (const std::string command : {"info", "convert", "colour", "panorama", "cell", "simulate",
                                      "index", "check", "repair", "images", "view", "help"}) {
        const ToolRun help = run({command, "--help"});
        EXPECT_EQ(help.code, 0) << command;
        EXPECT_EQ(run({"help", command}).out, help.out);
        EXPECT_TRUE(contains(help.out, "Usage: brisko " + command)) << help.out;
        EXPECT_TRUE(contains(help.out, "\n  130  stopped")) << help.out;
        std::istringstream lines(help.out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 100u) << line;
    }
    const ToolRun bare = run({});
    EXPECT_EQ(bare.code, 2);
    EXPECT_EQ(bare.err, run({"help"}).out);
}

TEST(Tool, RefusesInAFewWordsAndNamesTheNearest) {
    const struct {
        std::vector<std::string> line;
        const char* message;
    } cases[] = {
        {{"convrt"}, "no command 'convrt'; did you mean 'convert'? "},
        {{"help", "inof"}, "no command 'inof'; did you mean 'info'?"},
        {{"xylophone"}, "no command 'xylophone'; 'brisko --help'"},
        {{"--verison"}, "no option '--verison'; did you mean '--version'? "},
        {{"convert", "--colums=1:2", "a"}, "no option '--colums'; did you mean '--columns'? "},
        {{"convert", "a", "b", "--max"}, "did you mean '--max-distance'? 'brisko convert --help'"},
        {{"check", "a", "--most", "1", "--jsn"}, "no option '--jsn'; did you mean '--json'? "},
        {{"repair", "a", "b", "c"}, "'c' is more than 'repair' takes"},
        {{"convert", "a", "b", "c"}, "one INPUT and its OUTPUT are expected"},
        {{"convert", "a", "b", "--max-distance", "5m"}, "--max-distance 5m: not a number;"},
        {{"convert", "a", "b", "--max-distance", "-0"}, "--max-distance -0: less than 0;"},
        {{"convert", "a", "b", "--max-distance", "inf"}, "--max-distance inf: not a finite"},
        {{"convert", "a", "b", "--box", "0,0,nan,1,1,1"}, "--box nan: not a number;"},
        {{"simulate", "a", "--noise", "1001"}, "--noise 1001: more than 1000;"},
        {{"cell", "a", "x", "1"}, "COLUMN x: not a number"},
    };
    for (const auto& [line, message] : cases) {
        const ToolRun result = run(line);
        EXPECT_EQ(result.code, 2) << message;
        EXPECT_TRUE(contains(result.err, message)) << result.err;
        EXPECT_LT(result.err.size(), 140u) << result.err;
    }
}

}  // namespace
}  // namespace brisko::tool
