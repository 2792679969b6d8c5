#include "apps/made_scan.h"
#include "support/scan_bytes.h"

#include <brisko_codec/file_header.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

namespace brisko::tool {
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
                           {"bounds", {{"min", {4, 16, 33}}, {"max", {8, 21, 35}}}},
                           {"intensity", {{"min", 550}, {"max", 1100}}}};
    convert(folder / "a.ptx", folder / "a.cl3");
    convert(folder / "a.ptx", folder / "b.clr");
    for (const char* name : {"a.ptx", "a.cl3", "b.clr"}) {
        EXPECT_EQ(info({"info", "--json", "--count", folder / name})["scans"][0]["count"], expected)
            << name;
    }
    writeFile(folder / "none.ptx", ptxText(1, 1, "0 0 0 0.5\n"));
    const Json none = info({"info", "--json", "--count", folder / "none.ptx"})["scans"][0];
    EXPECT_EQ(none["count"]["points"], 0);
    EXPECT_TRUE(none["count"]["bounds"].is_null());
}

TEST(Info, NumbersThatAreNotFiniteAreNullAndTextsLosePaddingAndBadBytes) {
    const TempFolder folder;
    CLRFileHeader header;
    header.SetModelName("RVX1000  ");
    header.SetSerialNumber("\xff\xfe");
    header.SetTemperature(std::numeric_limits<float>::quiet_NaN());
    header.SetPressure(std::numeric_limits<float>::infinity());
    header.SetStartAzimuthAngle(0.1f);
    std::FILE* file = std::fopen((folder / "a.clr").c_str(), "wb");
    header.Write(file);
    std::fclose(file);
    const Json fields = info({"info", "--json", folder / "a.clr"})["scans"][0]["header"];
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

TEST(Info, EndsSoonWhateverAHeaderClaims) {
    const TempFolder folder;
    const struct {
        const char* name;
        Bytes bytes;
    } cases[] = {
        {"cells.clr", clrHeader(0x7fffffff, 0x7fffffff, 1, 0xffffffff)},
        {"lines.clr", clrHeader(0x7fffffff, 0x7fffffff, 2, 0xffffffff)},
        {"blocks.clr", clrHeader(0, 0, 2, 0xffffffff)},
        {"columns.clr", clrHeader(0x7fffffff, 0, 2, 0xffffffff)},
        {"negative.clr", clrHeader(-1, 5, 1, 1)},
        {"blocks.cl3", cl3Header(0xffffffff)},
        {"records.cl3", ByteWriter().bytes(cl3Header(1)).u32(0xffffffff).u8(0)},
        {"format.cl3", cl3Header(1, 2)},
    };
    for (const auto& scan : cases) {
        writeFile(folder / scan.name, scan.bytes);
        EXPECT_EQ(run({"info", folder / scan.name}).code, 3) << scan.name;
    }
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
    EXPECT_EQ(run({"cell", scan, "2", "0"}).code, 2);
    EXPECT_EQ(run({"cell", scan, "0", "-1"}).code, 2);
    EXPECT_EQ(run({"cell", folder / "a.ptx", "0", "0"}).code, 2);
    convert(folder / "a.ptx", folder / "plain.cl3", {"--plain"});
    EXPECT_EQ(run({"cell", folder / "plain.cl3", "0", "0"}).code, 3);
}

TEST(Tool, ResultsThatCannotBeDeliveredAreAnError) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 1, "1 2 3 0.5\n"));
    const int before = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY);
    dup2(full, STDOUT_FILENO);
    const std::string scan = folder / "a.ptx";
    const char* line[] = {"brisko", "info", scan.c_str()};
    testing::internal::CaptureStderr();
    const int code = runTool(3, line);
    const std::string message = testing::internal::GetCapturedStderr();
    dup2(before, STDOUT_FILENO);
    close(before);
    close(full);
    EXPECT_EQ(code, 4);
    EXPECT_TRUE(contains(message, "standard output")) << message;
}

TEST(Tool, TellsItsVersionAndHelp) {
    EXPECT_EQ(run({"--version"}).out, "brisko 1.3.0\n");
    for (const char* command :
         {"info", "convert", "panorama", "cell", "simulate", "index", "check", "repair"}) {
        const ToolRun help = run({command, "--help"});
        EXPECT_EQ(help.code, 0) << command;
        EXPECT_TRUE(contains(help.out, "Usage: brisko " + std::string(command))) << help.out;
    }
    const ToolRun unknown = run({"convrt"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_TRUE(contains(unknown.err, "'convrt'")) << unknown.err;
    EXPECT_EQ(run({}).code, 2);
}

}  // namespace
}  // namespace brisko::tool
