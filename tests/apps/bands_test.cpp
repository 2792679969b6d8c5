#include "apps/damaged_scan.h"

#include <brisko_codec/writers.h>
#include <brisko_scan/bands.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

/// A scan in parts: jobs that make one each, and the scan that they become.
namespace brisko::scan {
namespace {

using namespace brisko::test;

/// The bytes of a scan and its companions.
std::vector<Bytes> filesOf(const std::string& path) {
    const std::string base = path.substr(0, path.size() - 4);
    return {readFile(path), readFile(base + ".ij"), readFile(base + ".alg")};
}

/// Makes all bands that are missing. Returns how many that were.
std::size_t makeBands(const BandPlan& plan) {
    std::size_t made = 0;
    for (const Band& band : plan.bands) {
        if (band.isDone) continue;
        ++made;
        convert(plan.input, band.output,
                {"--columns", std::to_string(band.first) + ":" + std::to_string(band.end)});
    }
    return made;
}

JoinResult join(const BandPlan& plan, const std::string& output) {
    JoinOptions options;
    for (const Band& band : plan.bands)
        options.inputs.push_back(band.output);
    options.output = output;
    return joinBands(options);
}

/// Points in the padding, steps that do not follow from the angles, which end at 0, and no point in the
/// second of three columns of tiles.
void writeOddScan(const std::string& path) {
    CL3FileHeader header;
    header.SetStartAzimuthAngle(300.1F);
    header.SetStopZenithAngle(77.7F);
    header.SetDeltaAzimuthAngle(0.5F);
    header.SetDeltaZenithAngle(0.25F);
    CL3IJWriterGridCodec writer;
    ASSERT_TRUE(writer.Open(path.c_str(), &header));
    for (const std::uint32_t column : {0U, 3U, 255U, 512U, 599U, 610U, 767U}) {
        for (const std::uint32_t row : {0U, 256U, 310U, 311U, 511U})
            writer.WritePoint(column * 0.01 - 1, -0.3, row, 7, 1, 2, 3, 255, column, row);
    }
    ASSERT_TRUE(writer.Close());
}

TEST(Bands, BecomeTheBytesOfOneRun) {
    const TempFolder folder;
    for (const char* const format : {"1", "2"}) {
        ASSERT_EQ(test::simulate(folder, {"--name", named("raw", format), "--columns", "1000",
                                          "--rows", "300", "--point-format", format, "--flags",
                                          "0,1", "--alignment", "--azimuth", "359.97:0"})
                      .code,
                  0);
    }
    writeOddScan(folder / "odd.cl3");
    for (const char* const name : {"raw1.clr", "raw2.clr", "odd.cl3"}) {
        const std::string whole = convert(folder / name, folder / "whole.cl3");
        for (const std::uint32_t bands : {1U, 2U, 3U, 99U}) {
            SCOPED_TRACE(std::string(name) + " in " + std::to_string(bands));
            const TempFolder parts;
            const auto plan = [&] {
                return planBands(folder / name, bands, parts.path().string());
            };
            EXPECT_EQ(makeBands(plan()), std::min<std::size_t>(bands, plan().columns / 256 + 1));
            EXPECT_EQ(makeBands(plan()), 0U);  // each knows that it is there
            std::filesystem::remove(plan().bands.back().output);
            EXPECT_EQ(makeBands(plan()), 1U);
            const JoinResult result = join(plan(), parts / "joined.cl3");
            EXPECT_TRUE(filesOf(parts / "joined.cl3") == filesOf(whole));
            EXPECT_EQ(result.points, readAll(whole).size());
        }
    }
    EXPECT_EQ(test::run({"index", folder / "raw1.clr"}).code, 0);
    convert(folder / "raw1.clr", folder / "whole.cl3");
    EXPECT_TRUE(filesOf(folder / "raw1_index.cl3") == filesOf(folder / "whole.cl3"));
}

TEST(Bands, ThatDoNotFitAreRefusedWithBothNames) {
    const TempFolder folder;
    ASSERT_EQ(test::simulate(folder, {"--name", "a", "--columns", "700", "--rows", "300"}).code, 0);
    const auto part = [&](const char* name, std::vector<std::string> options) {
        return convert(folder / "a.clr", folder / name, std::move(options));
    };
    const std::string first = part("1.cl3", {"--columns", "0:256"});
    part("2.cl3", {"--columns", "256:512"});
    part("3.cl3", {"--columns", "512:"});
    part("odd.cl3", {"--columns", "0:300"});
    part("after.cl3", {"--columns", "300:556"});
    part("low.cl3", {"--columns", "256:512", "--rows", "0:290"});
    part("ptx.ptx", {"--columns", "256:512"});
    writeFile(folder / "turn.txt", "0 -1 0 0 1 0 0 0 0 0 1 0 0 0 0 1");
    part("turned.cl3", {"--columns", "256:512", "--matrix", folder / "turn.txt"});
    part("bare.cl3", {"--columns", "256:512", "--plain"});
    part("torn.cl3", {"--columns", "256:512"});
    const Bytes sound = readFile(folder / "torn.ij");
    writeFile(folder / "torn.ij", patched(sound, sound.size() - 262'144, {9, 9}));
    part("wild.cl3", {"--columns", "256:512"});
    writeFile(folder / "wild.cl3", patched(readFile(folder / "wild.cl3"), 120, Bytes(8, 0xff)));
    const std::vector<std::string> before = folder.names();
    const struct {
        std::vector<const char*> bands;
        ErrorKind kind;
        const char* text;
    } cases[] = {
        {{"1.cl3", "3.cl3"}, ErrorKind::Request, "3.cl3: does not go on where"},
        {{"2.cl3", "1.cl3"}, ErrorKind::Request, "2.cl3 ends: it begins at an azimuth"},
        {{"1.cl3", "1.cl3"}, ErrorKind::Request, "azimuth"},
        {{"1.cl3", "low.cl3"}, ErrorKind::Request, "it has 290 rows, the other 300"},
        {{"odd.cl3", "after.cl3"}, ErrorKind::Request, "the other ends inside a tile"},
        {{"1.cl3", "turned.cl3"}, ErrorKind::Request, "its alignment is another"},
        {{"1.cl3", "bare.cl3"}, ErrorKind::Request, "bare.cl3: the scan has no index"},
        {{"1.cl3", "ptx.ptx"}, ErrorKind::Request, "a band is an indexed .cl3"},
        {{"1.cl3", "torn.cl3"}, ErrorKind::Damaged, "torn.ij"},
        {{"1.cl3", "wild.cl3"}, ErrorKind::Damaged, "wild.cl3: a record is not finite"},
    };
    for (const auto& c : cases) {
        JoinOptions options;
        options.output = folder / "out.cl3";
        for (const char* const band : c.bands)
            options.inputs.push_back(folder / band);
        try {
            joinBands(options);
            ADD_FAILURE() << c.text;
        } catch (const ScanError& error) {
            EXPECT_EQ(error.kind(), c.kind) << error.what();
            EXPECT_TRUE(contains(error.what(), c.text)) << error.what();
        }
        EXPECT_EQ(folder.names(), before);
    }
}

TEST(Split, ListsJobsForAShell) {
    const TempFolder folder;
    ASSERT_EQ(test::simulate(folder, {"--name", "it's a", "--columns", "600", "--rows", "9"}).code,
              0);
    const std::string scan = folder / "it's a.clr";
    const std::string quoted = "'" + (folder / "it'\\''s a");
    const ToolRun jobs = run({"split", scan, "--bands", "2"});
    EXPECT_EQ(jobs.out, "brisko convert " + quoted + ".clr' " + quoted +
                            "_band_1.cl3' --columns 0:256 --overwrite\n" + "brisko convert " +
                            quoted + ".clr' " + quoted +
                            "_band_2.cl3' --columns 256:600 --overwrite\n");
    EXPECT_EQ(run({"split", scan, "--bands", "1", "--template",
                   "x {number} {first} {end} {{columns}", "--folder", "-"})
                  .out,
              "x 1 0 600 {0:600\n");
    const ToolRun json = run({"split", scan, "--bands", "9", "--join", "o.cl3", "--json"});
    const auto document = nlohmann::json::parse(json.out);
    EXPECT_EQ(document["jobs"].size(), 3U);
    EXPECT_TRUE(contains(document["join"], "brisko join '"));
    EXPECT_EQ(run({"split", scan, "--bands", "0"}).code, 2);
}

}  // namespace
}  // namespace brisko::scan
