#include "apps/damaged_scan.h"

#include <brisko_scan/merge.h>
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

/// Several stations into one file.
namespace brisko::scan {
namespace {

using namespace brisko::test;

/// Three stations of different sizes, frames and names, one of them coloured.
struct Stations : TempFolder {
    Stations() {
        std::filesystem::create_directory(path() / "b");
        writeFile(inputs[0], madeScan(40, 30, {170, -0.5, 40, -0.25}, false, kTurnedLines));
        writeFile(inputs[1], madeScan(300, 12, {0, 0.4, -20, 1.5}, true));
        writeFile(*this / "b/room.ptx", madeScan(25, 33, {90, -1, 10, -1}, false, kTurnedLines));
        convert(*this / "b/room.ptx", inputs[2]);
    }

    MergeOptions into(const std::string& output) const {
        MergeOptions options;
        options.inputs = inputs;
        options.each.output = *this / output;
        options.each.overwrite = true;
        return options;
    }

    std::vector<std::string> inputs = {*this / "room.ptx", *this / "hall.ptx",
                                       *this / "b/room.cl3"};
};

TEST(Merge, KeepsEveryScanWhereAFileHoldsSeveral) {
    const Stations stations;
    for (const char* const extension : {".e57", ".ptx"}) {
        const MergeOptions options = stations.into(named("all", extension));
        const std::string output = options.each.output;
        const MergeResult result = mergeScans(options);
        const std::string names[] = {"room", "hall", "room 2"};
        ASSERT_EQ(result.scans.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(result.scans[i].name, names[i]);
            convert(output, stations / "back.cl3", {"--scan", std::to_string(i + 1)});
            convert(stations.inputs[i], stations / "alone.cl3");
            for (const char* const companion : {".cl3", ".ij", ".alg"}) {
                const std::string back = stations / named("back", companion);
                EXPECT_EQ(readFile(back), readFile(stations / named("alone", companion)))
                    << output << ", scan " << i + 1;
            }
        }
        EXPECT_EQ(run({"check", output}).code, 0);
        convert(output, stations / named("again", extension), {"--scan", "all"});
        EXPECT_EQ(readFile(stations / named("again", extension)), readFile(output));
    }
}

TEST(Merge, MakesOneAlignedCloud) {
    const Stations stations;
    std::vector<CellPoint> expected;
    for (const std::string& input : stations.inputs) {
        const std::vector<CellPoint> points = readAligned(input);
        expected.insert(expected.end(), points.begin(), points.end());
    }
    const struct {
        const char* output;
        bool keepsCells;
    } cases[] = {{"a.las", true},  {"a.ply", true},  {"a.pcd", false}, {"a.pts", false},
                 {"a.xyz", false}, {"a.cl3", false}, {"a.e57", false}};
    for (const auto& [output, keepsCells] : cases) {
        MergeOptions options = stations.into(output);
        options.align = true;
        EXPECT_EQ(mergeScans(options).points, expected.size()) << output;
        EXPECT_EQ(run({"check", options.each.output}).code, 0) << output;
        EXPECT_FALSE(openScan(options.each.output)->info().hasGrid) << output;
        const std::vector<CellPoint> points = readAligned(options.each.output);
        ASSERT_EQ(points.size(), expected.size()) << output;
        for (std::size_t i = 0; i < points.size(); ++i) {
            ASSERT_NEAR(points[i].x, expected[i].x, 0.0001) << output << " " << i;
            ASSERT_NEAR(points[i].z, expected[i].z, 0.0001) << output << " " << i;
            ASSERT_NEAR(points[i].intensity, expected[i].intensity, 0.3) << output << " " << i;
            ASSERT_EQ(points[i].green, expected[i].green) << output << " " << i;
        }
    }
    // More inputs than are kept open.
    MergeOptions many = stations.into("many.las");
    for (int i = 0; i < 6; ++i)
        many.inputs.insert(many.inputs.end(), stations.inputs.begin(), stations.inputs.end());
    EXPECT_EQ(mergeScans(many).points, 7 * expected.size());
    EXPECT_EQ(readAligned(stations / "many.las").back().x,
              readAligned(stations / "a.las").back().x);
    // What distinguishes the stations; records of LAS 1.2, format 2, with two cell numbers.
    const Bytes las = readFile(stations / "a.las");
    const std::size_t first = wordAt(las, 96), size = 30, last = expected.size() - 1;
    EXPECT_EQ(las[first + 18], 1);
    EXPECT_EQ(las[first + last * size + 18], 3);
    EXPECT_EQ(las[first + last * size + 26], expected[last].column);
    EXPECT_EQ(las[first + last * size + 28], expected[last].row);
    const Bytes ply = readFile(stations / "a.ply");
    EXPECT_EQ(wordAt(ply, ply.size() - 12), expected[last].column);
    EXPECT_EQ(wordAt(ply, ply.size() - 4), 3u);
}

TEST(Merge, LeavesNothingWhereOneInputFails) {
    const Stations stations;
    const Bytes sound = readFile(convert(stations.inputs[0], stations / "b/sound.e57"));
    writeFile(stations / "cut.e57", cutTo(sound, sound.size() - 1024));
    writeFile(stations / "torn.e57", patched(sound, 5000, {99}));
    writeFile(stations / "far.xyz", "1e9 0 0 1\n");
    const std::vector<std::string> before = stations.names();
    const struct {
        const char* input;
        const char* output;
        bool align;
        ErrorKind kind;
        const char* message;
    } cases[] = {
        {"none.cl3", "out.e57", false, ErrorKind::Damaged, "none.cl3: cannot be read"},
        {"cut.e57", "out.e57", false, ErrorKind::Damaged, "announces"},
        {"torn.e57", "out.las", false, ErrorKind::Damaged, "checksum"},
        {"far.xyz", "out.ptx", false, ErrorKind::Request, "has no grid"},
        {"far.xyz", "out.las", false, ErrorKind::NotWritten, "too far"},
        {"hall.ptx", "out.clr", false, ErrorKind::Request, "needs a grid"},
        {"hall.ptx", "out.ptx", true, ErrorKind::Request, "needs a grid"},
        {"hall.ptx", "out.laz", false, ErrorKind::Request, "output is named"},
        {"hall.ptx", "hall.ptx", false, ErrorKind::Request, "hall.ptx"},
    };
    for (const auto& c : cases) {
        MergeOptions options = stations.into(c.output);
        options.inputs.push_back(stations / c.input);
        options.align = c.align;
        try {
            mergeScans(options);
            ADD_FAILURE() << c.input << " went into " << c.output;
        } catch (const ScanError& error) {
            EXPECT_EQ(error.kind(), c.kind) << error.what();
            EXPECT_TRUE(contains(error.what(), c.message)) << error.what();
        }
        EXPECT_EQ(stations.names(), before) << c.input;
    }
    MergeOptions options = stations.into("out.e57");
    options.each.progress = [](const ProgressUpdate& update) { return update.stage != "room 2"; };
    EXPECT_THROW(mergeScans(options), ScanError);
    EXPECT_EQ(stations.names(), before);
    EXPECT_EQ(run({"convert", stations.inputs[2], stations / "one.las", "--scan", "all"}).code, 0);
}

/// A name may be another scan's number.
TEST(Merge, EachScanOfAFileIsTakenOnce) {
    const Stations stations;
    std::filesystem::rename(stations.inputs[0], stations / "2.ptx");
    std::filesystem::create_directory(stations / "out");
    EXPECT_EQ(run({"merge", stations / "2.ptx", stations / "hall.ptx", stations / "a.e57"}).code,
              0);
    EXPECT_EQ(
        run({"convert", stations / "a.e57", "-o", stations / "out", "--to", "ptx", "--scan", "all"})
            .code,
        0);
    EXPECT_EQ(openScan(stations / "out/a_1.ptx")->info().columns, 40u);
    EXPECT_EQ(openScan(stations / "out/a_2.ptx")->info().columns, 300u);
    writeFile(stations / "b.e57", readText(stations / "a.e57"));
    MergeOptions options = stations.into("c.e57");
    options.inputs = {stations / "a.e57", stations / "b.e57"};
    EXPECT_EQ(mergeScans(options).scans.at(3).name, "hall 2");
}

TEST(Merge, ShowsALineForEachScan) {
    const Stations stations;
    const std::string output = stations / "all.e57";
    const ToolRun text = run({"merge", stations / "?*.ptx", stations / "b/room.cl3", output});
    EXPECT_TRUE(contains(text.out, "  hall: 3086 points, 300 columns x 12 rows\n  room: "))
        << text.out;
    EXPECT_TRUE(contains(text.out, output + ": 3 scans, ")) << text.out;
    const auto json =
        nlohmann::json::parse(run({"merge", output, stations / "all.ply", "--json"}).out);
    EXPECT_EQ(json.at("scans").at(2).at("name"), "room 2");
    EXPECT_EQ(json.at("isCloud"), true);
    EXPECT_EQ(run({"merge", output}).code, 2);
}

}  // namespace
}  // namespace brisko::scan
