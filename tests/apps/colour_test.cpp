#include "apps/damaged_scan.h"
#include "apps/ptx_scan.h"
#include "scan/files/scan_path.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;

constexpr int kAhead = 80, kBehind = 200;  // the greys of two photos

/// Azimuths from 170 by -1.2 degrees, more than one tile of columns, all near the horizon.
constexpr int kColumns = 300, kRows = 20;
constexpr ScanAngles kAllAround{170, -1.2, 10, -1};

/// A station with a photo that looks along +x and one that looks along -x, and an aligned scan without
/// colours. Results go to a folder of their own: nothing that is made lies beside the photos.
class TwoPhotos : public ClassicStation {
public:
    TwoPhotos() {
        addPhoto("ahead", jpegBytes(300, 400, grey(kAhead)), 0);
        addPhoto("behind", jpegBytes(300, 400, grey(kBehind)), 180);
        writeFile(m_out / "made.ptx", madeScan(kColumns, kRows, kAllAround, false, kTurnedLines));
        convert(m_out / "made.ptx", scan());
        std::filesystem::remove(m_out / "made.ptx");
    }
    std::string scan() const { return inScan("scan.cl3"); }
    std::string out(const std::string& name) const { return m_out / name; }
    std::vector<std::string> outputs() const { return m_out.names(); }

private:
    TempFolder m_out;
};

/// Colours and converts in the same way, and compares all files.
void expectConvertedButColours(const TwoPhotos& station, const std::string& input,
                               const std::string& extension,
                               const std::vector<std::string>& options) {
    SCOPED_TRACE(input + extension + (options.empty() ? "" : options.front()));
    const std::string coloured = station.out("coloured" + extension);
    const std::string converted = station.out("converted" + extension);
    std::vector<std::string> line = {"colour", input, coloured};
    line.insert(line.end(), options.begin(), options.end());
    const ToolRun result = run(line);
    ASSERT_EQ(result.code, 0) << result.err;
    convert(input, converted, options);
    EXPECT_NE(readFile(coloured), readFile(converted));
    EXPECT_EQ(pointsIn(coloured), pointsIn(converted));
    if (extension == ".ptx") {
        const PtxScan a = readPtx(coloured), b = readPtx(converted);
        EXPECT_TRUE(a.hasColour);
        EXPECT_EQ(a.header.matrix, b.header.matrix);
    } else if (extension == ".cl3") {
        EXPECT_EQ(cutTo(readFile(coloured), 115), cutTo(readFile(converted), 115));
    }
    for (const char* companion : {".ij", ".alg"}) {
        const std::string theirs = scan::companionOf(converted, companion);
        ASSERT_EQ(std::filesystem::exists(scan::companionOf(coloured, companion)),
                  std::filesystem::exists(theirs));
        if (!std::filesystem::exists(theirs)) continue;
        EXPECT_EQ(readFile(scan::companionOf(coloured, companion)), readFile(theirs)) << companion;
    }
    for (const std::string& name : station.outputs())
        std::filesystem::remove(station.out(name));
}

TEST(Colour, OutputsAreWhatConvertWritesButForTheColours) {
    const TwoPhotos station;
    convert(station.scan(), station.inScan("raw.clr"));
    convert(station.scan(), station.inScan("plain.cl3"), {"--plain"});
    for (const char* input : {"scan.cl3", "raw.clr"}) {
        for (const char* extension : {".cl3", ".ptx", ".ply"})
            expectConvertedButColours(station, station.inScan(input), extension, {});
        const std::vector<std::string> options[] = {{"--columns", "100:", "--rows", "3:9"},
                                                    {"--max-distance", "5", "--valid"},
                                                    {"--box=-100,-100,-100,100,20,100"},
                                                    {"--apply-alignment"},
                                                    {"--plain"}};
        for (const std::vector<std::string>& some : options)
            expectConvertedButColours(station, station.inScan(input), ".cl3", some);
    }
    expectConvertedButColours(station, station.inScan("plain.cl3"), ".cl3", {});
    expectConvertedButColours(station, station.inScan("plain.cl3"), ".ply", {});
}

/// What the two photos show: each spans more than 25 degrees on either side.
void expectGrey(const CellPoint& p) {
    const double azimuth = std::abs(std::atan2(p.y, p.x)) * 180 / 3.14159265358979323846;
    int expected = 0;
    if (azimuth < 25) {
        expected = kAhead;
    } else if (azimuth > 155) {
        expected = kBehind;
    } else if (azimuth < 80 || azimuth > 100) {
        return;  // somewhere there a photo ends
    }
    ASSERT_TRUE(p.red == expected && p.green == expected && p.blue == expected)
        << "azimuth " << azimuth << ": " << int{p.red};
}

TEST(Colour, TakesColoursWhereTheScannerMeasuredWhateverTheAlignment) {
    const TwoPhotos station;
    for (const char* alignment : {"kept", "applied", "gone"}) {
        SCOPED_TRACE(alignment);
        if (alignment == std::string("gone")) std::filesystem::remove(station.inScan("scan.alg"));
        const bool isApplied = alignment == std::string("applied");
        const ToolRun result = run({"colour", "--json", station.scan(), station.out("c.ptx"),
                                    "--overwrite", isApplied ? "--apply-alignment" : "--verbose"});
        ASSERT_EQ(result.code, 0) << result.err;
        std::uint64_t coloured = 0;
        const PtxScan scan = readPtx(station.out("c.ptx"));
        for (CellPoint p : scan.points) {
            // The alignment is a quarter turn and a shift: back to the scanner.
            if (isApplied) {
                const double x = p.x - 10, y = p.y - 20;
                p.x = y;
                p.y = -x;
            }
            expectGrey(p);
            coloured += p.red != 0;
        }
        const Json told = Json::parse(result.out);
        EXPECT_EQ(told["schema"], "brisko.colour/1");
        EXPECT_EQ(told["points"], scan.points.size());
        EXPECT_EQ(told["coloured"], coloured);
        EXPECT_EQ(told["share"],
                  static_cast<double>(coloured) / static_cast<double>(scan.points.size()));
        EXPECT_EQ(told["grid"], (Json{{"columns", kColumns}, {"rows", kRows}}));
        EXPECT_EQ(told["photos"]["used"], 2);
        EXPECT_EQ(told["photos"]["list"][1]["path"], station.inScan("behind.jpg"));
        EXPECT_EQ(told["photos"]["list"][1]["pixels"], "whole");
    }
}

TEST(Colour, StoresColoursOfScansThatHadNoPlaceForThem) {
    const TwoPhotos station;
    ByteWriter scan;
    scan.bytes(cl3Header(1, 0)).u32(2).u8(0);
    for (const double x : {5.0, -5.0})
        scan.f64(x).f64(0).f64(0.5).f32(700);
    writeFile(station.inScan("bare.cl3"), scan);
    const ToolRun result =
        run({"colour", "--verbose", station.inScan("bare.cl3"), station.out("c.cl3")});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_TRUE(contains(result.out, ": photos: 2 found, 2 used, station kind 1")) << result.out;
    EXPECT_TRUE(contains(result.out, "ahead.jpg: used, 300 x 400 pixels")) << result.out;
    EXPECT_TRUE(contains(result.out, "c.cl3: 2 points, ")) << result.out;
    EXPECT_TRUE(contains(result.out, "100.0 % coloured\n")) << result.out;
    const Bytes bytes = readFile(station.out("c.cl3"));
    EXPECT_EQ(bytes.at(114), 1) << "the point format";
    EXPECT_EQ(bytes.at(115 + 5 + 28), kAhead);
    EXPECT_EQ(bytes.at(115 + 5 + 31 + 28), kBehind);
}

TEST(Colour, PhotosLeaveOutWhatTheyCannotSeeInBandsAsInOneRun) {
    const TempFolder folder, out;
    ASSERT_EQ(simulate(folder, {"--photos", "offset", "--photo-scale", "8", "--columns", "360",
                                "--rows", "180", "--scene", "room", "--format", "cl3-indexed"})
                  .code,
              0);
    const std::string scan = folder / "scan/scan.cl3";
    const auto colour = [&](const char* name, std::vector<std::string> options) {
        options.insert(options.begin(), {"colour", scan, out / name});
        EXPECT_EQ(run(options).code, 0) << name;
        return out / name;
    };
    const Bytes all = readFile(colour("all.cl3", {})),
                seen = readFile(colour("seen.cl3", {"--occlusion"}));
    EXPECT_EQ(all.size(), seen.size());
    EXPECT_NE(all, seen);
    const std::string first = colour("1.cl3", {"--occlusion", "--columns", "0:256"}),
                      last = colour("2.cl3", {"--occlusion", "--columns", "256:"});
    ASSERT_EQ(run({"join", first, last, out / "joined.cl3"}).code, 0);
    EXPECT_EQ(readFile(out / "joined.cl3"), seen);
}

/// A JPEG with a header that is well and pixels that no decoder takes: too many scans.
Bytes undecodable() {
    Bytes jpeg = jpegBytes(120, 160, grey(50));
    for (int i = 0; i < 501; ++i)
        jpeg.insert(jpeg.end(), {0xFF, 0xDA});
    return jpeg;
}

TEST(Colour, WhatKeepsItFromColouringIsNamedAndNothingIsWritten) {
    const auto text = [](const char* bytes) { return Bytes(bytes, bytes + std::strlen(bytes)); };
    const Bytes scan = readFile(TwoPhotos().scan());
    const std::vector<const char*> photos = {"scan/ahead.jpg", "scan/behind.jpg"};
    const std::vector<const char*> angles = {"scan/ahead.ang", "scan/behind.ang"};
    const struct {
        std::vector<const char*> removed;
        std::pair<const char*, Bytes> written;
        const char* output;
        int code;
        std::vector<const char*> messages;
        const char* input = "scan.cl3";
    } cases[] = {
        {photos, {}, "c.cl3", 2, {"no photos", "scan.cl3"}},
        {angles, {}, "c.cl3", 2, {"2 photos not used, without an angle", "ahead.jpg, behind.jpg"}},
        {{"camcal"}, {}, "c.cl3", 3, {"camcal: is missing", "ahead.jpg"}},
        {{},
         {"camcal", text("too short")},
         "c.ply",
         3,
         {"camcal: the horizontal pixel pitch is 0", "ahead.jpg"}},
        {{}, {photos[1], text("no photo")}, "c.ptx", 3, {"behind.jpg: cannot be read as JPEG"}},
        {{}, {photos[1], undecodable()}, "c.cl3", 3, {"behind.jpg: damaged after its header"}},
        {{}, {"scan/scan.cl3", cutTo(scan, 5000)}, "c.cl3", 3, {"scan.cl3: "}},
        {{}, {}, "c.cl3", 3, {"other.cl3"}, "other.cl3"},
        {{}, {}, "c.clr", 2, {"c.clr"}},
        {{}, {}, "c.png", 2, {"c.png"}},
        {{}, {}, "c.cl3", 2, {"a.ptx"}, "a.ptx"},
    };
    for (const auto& wrong : cases) {
        const TwoPhotos station;
        for (const char* name : wrong.removed)
            std::filesystem::remove(station.inProject(name));
        if (wrong.written.first)
            writeFile(station.inProject(wrong.written.first), wrong.written.second);
        const ToolRun result =
            run({"colour", station.inScan(wrong.input), station.out(wrong.output)});
        EXPECT_EQ(result.code, wrong.code) << result.err;
        for (const char* message : wrong.messages)
            EXPECT_TRUE(contains(result.err, message)) << message << ": " << result.err;
        EXPECT_EQ(station.outputs(), std::vector<std::string>{}) << wrong.messages[0];
    }
    const TwoPhotos station;
    EXPECT_EQ(run({"colour", station.scan(), station.scan()}).code, 2);
}

TEST(Colour, InfoAndCheckTellWhatLiesBesideAScan) {
    const TwoPhotos station;
    const Bytes jpeg = readFile(station.inScan("ahead.jpg"));
    writeFile(station.inScan("lonely.jpg"), jpeg);
    const auto info = [&] {
        return Json::parse(run({"info", "--json", station.scan()}).out)["scans"][0]["photos"];
    };
    const auto check = [&](int code) {
        const ToolRun result = run({"check", "--json", station.scan()});
        EXPECT_EQ(result.code, code) << result.out;
        return Json::parse(result.out)["scans"][0];
    };
    EXPECT_EQ(info()["list"][2]["use"], "withoutAngles");
    EXPECT_TRUE(info()["culprit"].is_null());
    EXPECT_TRUE(
        contains(run({"info", station.scan()}).out,
                 "  photos     3 found, 2 used, station kind 1 (stored turned)\n"
                 "             1 photo not used, without an angle file (.ang): lonely.jpg\n"));
    // Photos that are left aside are no damage.
    Json scan = check(0);
    EXPECT_EQ(scan["notes"].size(), 1u) << scan["notes"];
    EXPECT_TRUE(contains(scan["notes"][0], "lonely.jpg"));
    EXPECT_EQ(scan["photos"]["list"][0]["pixels"], "whole");

    writeFile(station.inScan("ahead.jpg"), cutTo(jpeg, jpeg.size() / 2));
    writeFile(station.inScan("behind.jpg"), "no photo");
    scan = check(3);
    ASSERT_EQ(scan["findings"].size(), 2u) << scan;
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(scan["findings"][i]["kind"], "photo");
        EXPECT_EQ(scan["findings"][i]["file"], scan["photos"]["list"][i]["path"]);
    }
    // One file at fault, however many photos need it.
    std::filesystem::remove(station.inProject("camcal"));
    scan = check(3);
    ASSERT_EQ(scan["findings"].size(), 1u) << scan;
    EXPECT_EQ(scan["findings"][0]["kind"], "calibration");
    EXPECT_EQ(scan["findings"][0]["file"], station.inProject("camcal"));
    EXPECT_EQ(info()["culprit"], station.inProject("camcal"));
    EXPECT_EQ(run({"info", station.scan()}).code, 0) << "the scan itself is sound";
}

TEST(Colour, ConvertAndPanoramaPointToItOnlyWhereItHelps) {
    const TwoPhotos station;
    const std::string hint = "'brisko colour' takes colours from the 2 photos beside it";
    const std::string picture = station.out("p.png");
    ToolRun result = run({"convert", station.scan(), station.out("c.ptx")});
    EXPECT_TRUE(contains(result.err, hint)) << result.err;
    result = run({"panorama", station.scan(), "-o", picture, "--mode", "colour"});
    EXPECT_EQ(result.code, 2);
    EXPECT_TRUE(contains(result.err, hint)) << result.err;

    // A scan with colours draws, and keeps them when it is converted beside its photos.
    ASSERT_EQ(run({"colour", station.scan(), station.inScan("coloured.cl3")}).code, 0);
    EXPECT_EQ(
        run({"panorama", station.inScan("coloured.cl3"), "-o", picture, "--mode", "colour"}).code,
        0);
    EXPECT_EQ(run({"convert", station.inScan("coloured.cl3"), station.out("d.cl3")}).err, "");
    // Nothing is to be had from photos that cannot be used.
    for (const char* name : {"ahead.ang", "behind.ang"})
        std::filesystem::remove(station.inScan(name));
    EXPECT_EQ(run({"convert", station.scan(), station.out("e.cl3")}).err, "");
}

}  // namespace
}  // namespace brisko::tool
