#include "apps/damaged_scan.h"
#include "support/conversion_fixture.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/check.h>
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;

Json check(const std::string& path, int code) {
    const ToolRun result = run({"check", "--json", path});
    EXPECT_EQ(result.code, code) << result.out << result.err;
    return Json::parse(result.out)["scans"][0];
}

constexpr std::size_t kNone = SIZE_MAX, kAnywhere = SIZE_MAX - 1;

struct Expected {
    const char *what, *kind, *file;
    std::size_t block, offset;
};

void expectFinding(const Json& scan, const Expected& expected) {
    ASSERT_FALSE(scan["findings"].empty()) << expected.what;
    const Json& found = scan["findings"][0];
    const auto number = [](std::size_t n) { return n == kNone ? Json() : Json(n); };
    EXPECT_EQ(found["kind"], expected.kind) << expected.what << found;
    EXPECT_TRUE(contains(found["file"], expected.file)) << expected.what << found;
    EXPECT_EQ(found["block"], number(expected.block)) << found;
    if (expected.offset == kAnywhere) return;
    EXPECT_EQ(found["offset"], number(expected.offset)) << found;
}

TEST(Check, WhatTheToolWritesIsSound) {
    const TempFolder folder;
    const ScanFiles files = writeTiledScan(folder, "a");
    convert(folder / "a.cl3", folder / "plain.cl3", {"--plain"});
    convert(folder / "plain.cl3", folder / "again.cl3");
    convert(folder / "a.cl3", folder / "raw.clr");
    EXPECT_EQ(pointsIn(folder / "again.cl3"), withoutCells(pointsIn(folder / "a.cl3")));
    EXPECT_FALSE(std::filesystem::exists(folder / "again.ij")) << "a plain scan has no grid";
    for (const char* name : {"a.cl3", "plain.cl3", "again.cl3", "raw.clr"}) {
        const Json scan = check(folder / name, 0);
        EXPECT_EQ(scan["points"], pointsIn(folder / name).size()) << name;
        EXPECT_EQ(scan["notes"], Json::array()) << name;
    }
    // What a plain writer leaves behind a full block.
    writeFile(folder / "plain.cl3",
              ByteWriter().bytes(readFile(folder / "plain.cl3")).u32(0).u8(0));
    check(folder / "plain.cl3", 0);
}

TEST(Check, TellsFileBlockAndByteOfEveryDamage) {
    const TempFolder folder;
    const ScanFiles good = writeTiledScan(folder, "a");
    convert(folder / "a.cl3", folder / "part.cl3", {"--max-distance", "5"});
    const std::vector<std::size_t> blocks = blockOffsets(good.scan);
    ASSERT_EQ(blocks.size(), 4u);
    const auto at = [&](std::size_t block, std::size_t record) {
        return blocks[block] + 5 + 31 * record;
    };
    const std::size_t tile1 = 48 + kTileBytes;
    std::size_t entry = tile1 + 12;  // the first of tile 1 that is one
    while (wordAt(good.index, entry) == 0)
        entry += 4;
    ByteWriter far;
    far.f64(-3).f64(-4).f64(50);
    Bytes swapped = good.index;
    std::swap(swapped[tile1], swapped[tile1 + 4]);
    const auto scan = [&](const Bytes& bytes) {
        return ScanFiles{bytes, good.index, good.alignment};
    };
    const auto index = [&](const Bytes& bytes) {
        return ScanFiles{good.scan, bytes, good.alignment};
    };
    const struct {
        ScanFiles files;
        Expected expected;
    } cases[] = {
        {scan(cutTo(good.scan, 100)), {"cut in its header", "header", "a.cl3", kNone, 100}},
        {scan(patched(good.scan, 114, {7})), {"point format", "header", "a.cl3", kNone, 114}},
        {scan(patched(good.scan, 86, {0, 0, 0xc0, 0x7f})), {"angle", "header", "a.cl3", kNone, 0}},
        {scan(cutTo(good.scan, at(2, 3) + 4)), {"cut", "block", "a.cl3", 2, blocks[2]}},
        {scan(cutTo(good.scan, blocks[3])), {"cut before block", "block", "a.cl3", 3, blocks[3]}},
        {scan(ByteWriter().bytes(good.scan).bytes(Bytes(6, 1))),
         {"more", "block", "a.cl3", kNone, good.scan.size()}},
        {scan(patched(good.scan, at(1, 2), notANumber())),
         {"not a number", "coordinate", "a.cl3", 1, at(1, 2)}},
        {scan(patched(good.scan, at(3, 1), far)), {"far outside", "angle", "a.cl3", 3, at(3, 1)}},
        {index(cutTo(good.index, 30)), {"index cut in its header", "index", "a.ij", kNone, 30}},
        {index(cutTo(good.index, tile1 + 99)), {"cut in tile 1", "index", "a.ij", 1, tile1}},
        {index(patched(good.index, 32, {5})), {"number of tiles", "index", "a.ij", kNone, 32}},
        {index(patched(good.index, tile1 + 8, {1, 0, 0, 0})),
         {"points", "entry", "a.ij", 1, tile1 + 8}},
        {index(patched(good.index, entry, {9})), {"an entry", "entry", "a.ij", 1, entry}},
        {index(swapped), {"place of tile 1", "index", "a.ij", 1, tile1}},
        {index({}), {"no byte of an index", "index", "a.ij", kNone, 0}},
        {index(patched(good.index, 39, {255})), {"a huge grid", "index", "a.ij", kNone, 32}},
        {index(readFile(folder / "part.ij")), {"index of another", "index", "a.ij", 0, 48}},
        {scan(patched(good.scan, 110, {0, 0, 0, 0})), {"no blocks", "index", "a.ij", kNone, 32}},
        {index(patched(good.index, 44, {0, 0, 1, 0})), {"tile size", "index", "a.ij", kNone, 44}},
        {{good.scan, good.index, {'x'}}, {"alignment", "alignment", "a.alg", kNone, kNone}},
    };
    for (const auto& damaged : cases) {
        SCOPED_TRACE(damaged.expected.what);
        writeFile(folder / "a.cl3", damaged.files.scan);
        writeFile(folder / "a.ij", damaged.files.index);
        writeFile(folder / "a.alg", damaged.files.alignment);
        expectFinding(check(folder / "a.cl3", 3), damaged.expected);
    }
}

TEST(Check, RawScansAreReadRecordByRecordAndPieceByPiece) {
    const TempFolder folder;
    const Bytes lineBytes = compressedLine({300, ClrRecord{10000, 20000, 30000, 0, 100}});
    const Bytes compressed =
        ByteWriter().bytes(clrHeader(2, 300, 2, 1)).u8(0).bytes(lineBytes).bytes(lineBytes);
    const Bytes plain = ByteWriter()
                            .bytes(clrHeader(2, 2, 1, 2))
                            .u8(0)
                            .bytes(clrRecords({4, ClrRecord{1, 2, 3, 0, 5}}))
                            .u8(4)
                            .bytes(clrRecords({4, ClrRecord{1, 2, 3, 0, 0}}));
    const std::size_t column1 = 121 + lineBytes.size();
    const struct {
        Bytes bytes;
        Expected expected;
    } cases[] = {
        {cutTo(plain, 119), {"header", "header", "a.clr", kNone, 119}},
        {patched(plain, 112, {4}), {"format", "header", "a.clr", kNone, 112}},
        {patched(plain, 107, {0x80}), {"negative grid", "header", "a.clr", kNone, 104}},
        {cutTo(plain, plain.size() - 1), {"cut", "block", "a.clr", 1, 201}},
        {cutTo(plain, 201), {"no second block", "block", "a.clr", 1, 201}},
        {patched(compressed, column1 + 2, {1}), {"length", "piece", "a.clr", 0, column1}},
        {patched(compressed, 121, {9}), {"short stream", "piece", "a.clr", 0, 121}},
        {patched(compressed, 121, {0, 0}), {"length 0", "piece", "a.clr", 0, 121}},
        {patched(compressed, 125, {0xfe}), {"other sizes", "piece", "a.clr", 0, 121}},
        {patched(plain, 116, {1}), {"too few blocks", "block", "a.clr", kNone, 201}},
        {patched(compressed, 116, {0}), {"no blocks", "block", "a.clr", kNone, 120}},
        {cutTo(compressed, compressed.size() - 9), {"cut", "piece", "a.clr", 0, kAnywhere}},
    };
    writeFile(folder / "a.clr", plain);
    EXPECT_EQ(check(folder / "a.clr", 0)["points"], 4);
    writeFile(folder / "a.clr", compressed);
    EXPECT_EQ(check(folder / "a.clr", 0)["points"], 600);
    for (const auto& [bytes, expected] : cases) {
        writeFile(folder / "a.clr", bytes);
        expectFinding(check(folder / "a.clr", 3), expected);
    }
}

TEST(Check, CountsAllFindingsAndListsTheFirstOfEachKind) {
    const TempFolder folder;
    ByteWriter scan;
    scan.bytes(cl3Header(2)).u32(50).u8(0);
    for (int i = 0; i < 50; ++i)
        scan.bytes(notANumber()).f64(1).f64(1).f32(1).bytes({0, 0, 0});
    writeFile(folder / "a.cl3", scan);
    const ToolRun result = run({"check", "--json", "--most", "3", folder / "a.cl3"});
    const Json found = Json::parse(result.out)["scans"][0];
    EXPECT_EQ(found["findingCount"], 51);
    EXPECT_EQ(found["findings"].size(), 4u);  // three points and the missing block
    EXPECT_TRUE(contains(run({"check", folder / "a.cl3"}).out, "40 more of kind 'coordinate'"));
}

TEST(Check, TakesElevationsAndForeignAnglesAsTheyAre) {
    const TempFolder folder;
    const ScanFiles good = writeTiledScan(folder, "a");
    // 40 to -27.5 degrees above the horizon is the same as 50 to 117.5 from the zenith.
    const Bytes elevations =
        patched(patched(good.scan, 90, ByteWriter().f32(40)), 98, ByteWriter().f32(-27.5F));
    writeFile(folder / "a.cl3", elevations);
    EXPECT_EQ(check(folder / "a.cl3", 0)["notes"], Json::array());
    // Nearly all points outside: the header counts in another way, and no point is to blame.
    const Bytes shifted =
        patched(patched(good.scan, 90, ByteWriter().f32(150)), 98, ByteWriter().f32(180));
    writeFile(folder / "a.cl3", shifted);
    EXPECT_EQ(check(folder / "a.cl3", 0)["notes"].size(), 1u);
}

TEST(Check, EndsSoonAsInfoAndRepairDoWhateverAHeaderClaims) {
    const TempFolder folder;
    const struct {
        const char* name;
        Bytes bytes;
    } cases[] = {{"a.clr", clrHeader(0x7fffffff, 0x7fffffff, 1, 0xffffffff)},
                 {"b.clr", clrHeader(0x7fffffff, 0x7fffffff, 2, 0xffffffff)},
                 {"c.clr", clrHeader(0, 0, 1, 0xffffffff)},
                 {"d.clr", clrHeader(0x7fffffff, 0, 2, 0xffffffff)},
                 {"e.clr", clrHeader(0, 0, 2, 0xffffffff)},
                 {"f.clr", clrHeader(-1, 5, 1, 1)},
                 {"c.cl3", cl3Header(1, 2)},
                 {"a.cl3", cl3Header(0xffffffff)},
                 {"b.cl3", ByteWriter().bytes(cl3Header(1)).u32(0xffffffff).u8(0)}};
    for (const auto& scan : cases) {
        writeFile(folder / scan.name, scan.bytes);
        const std::string path = folder / scan.name;
        EXPECT_EQ(run({"check", path}).code, 3) << scan.name;
        EXPECT_EQ(run({"info", path}).code, 3) << scan.name;
        EXPECT_EQ(run({"repair", path, folder / named("out", scan.name + 1)}).code, 3) << scan.name;
    }
    EXPECT_EQ(run({"check", folder / "a.ptx"}).code, 3);
    EXPECT_EQ(run({"check", folder / "none.cl3"}).code, 3);
    EXPECT_EQ(folder.names().size(), std::size(cases));
}

/// All that a check says, and every step of its progress.
std::string checkedOn(unsigned threads, const std::string& path) {
    const JobThreadLimit limit(threads);
    std::string said;
    const ScanCheck check = checkScan(path, 2, [&](const ProgressUpdate& update) {
        said += std::to_string(update.done) + " of " + std::to_string(update.total) + "\n";
        return true;
    });
    for (const std::uint64_t count : {check.blocks, check.records, check.points})
        said += std::to_string(count) + "\n";
    for (const Finding& finding : check.findings.kept())
        said += finding.kind + ": " + findingText(finding) + "\n";
    for (const auto& [kind, count] : check.findings.unlisted())
        said += std::to_string(count) + " more of " + kind + "\n";
    for (const std::string& note : check.notes)
        said += note + "\n";
    return said;
}

TEST(Check, SaysTheSameOnAnyNumberOfThreads) {
    const TempFolder folder;
    writeFile(folder / "made.ptx", madeScan(400, 400, {170, -0.5, 40, -0.25}, true));
    convert(folder / "made.ptx", folder / "a.cl3");
    const Bytes cloud = readFile(folder / "a.cl3"), index = readFile(folder / "a.ij");
    std::filesystem::remove(folder / "a.ij");
    const auto raw = [](std::uint32_t format, std::uint32_t blocks) {
        return rawScan({.format = format, .blocks = blocks, .columns = 700, .rows = 390});
    };
    const auto torn = [](Bytes bytes) {
        for (const int eighth : {1, 4, 7})
            std::fill_n(bytes.begin() + std::ssize(bytes) * eighth / 8, 40, std::uint8_t{0xff});
        return bytes;
    };
    const auto cut = [](const Bytes& bytes) { return cutTo(bytes, bytes.size() * 3 / 5); };
    const Bytes fewerBlocks = patched(cloud, 110, {2});
    const Bytes otherAngles =
        patched(patched(cloud, 90, ByteWriter().f32(150)), 98, ByteWriter().f32(180));
    const Bytes plain = raw(1, 2), packed = raw(2, 2);
    const struct {
        const char* name;
        Bytes scan, index;
        std::uint64_t findings;
    } cases[] = {
        {"a.cl3", cloud, index, 0},
        {"a.cl3", cloud, torn(index), 12},
        {"a.cl3", torn(cloud), index, 6},
        {"a.cl3", cut(cloud), cut(index), 2},
        {"a.cl3", cloud, cut(index), 1},
        {"a.cl3", fewerBlocks, torn(index), 15},
        {"a.cl3", otherAngles, index, 0},
        {"b.cl3", torn(cloud), {}, 6},
        {"b.cl3", cut(cloud), {}, 1},
        // Of their random points some lie outside the header's angles.
        {"a.clr", plain, {}, 18205},
        {"a.clr", torn(plain), {}, 18204},
        {"a.clr", cut(plain), {}, 10865},
        {"a.clr", packed, {}, 18205},
        {"a.clr", torn(packed), {}, 18188},
        {"a.clr", cut(packed), {}, 10856},
        {"a.clr", cutTo(plain, plain.size() / 2), {}, 9115},
        {"a.clr", patched(packed, 124, {1}), {}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const std::string path = folder / c.name;
        writeFile(path, c.scan);
        if (!c.index.empty()) writeFile(folder / "a.ij", c.index);
        const std::string one = checkedOn(1, path);
        EXPECT_EQ(checkScan(path, 2).findings.count(), c.findings) << one;
        for (const unsigned threads : {2U, 3U, 7U})
            EXPECT_EQ(checkedOn(threads, path), one) << threads << " threads";
    }
    writeFile(folder / "a.clr", plain);
    for (const unsigned threads : {1U, 2U, 7U}) {
        const JobThreadLimit limit(threads);
        int left = 20;
        EXPECT_THROW(checkScan(folder / "a.clr", 2, [&](const auto&) { return --left > 0; }),
                     ScanError);
        EXPECT_EQ(left, 0);
    }
}

TEST(Check, TextScansAreReadLineByLineBeyondWhatIsDamaged) {
    const TempFolder folder;
    const std::string path = folder / "a.ptx";
    writeFile(path, ptxText(2, 3, "1 2 3 2\n0 0 0 0.5\n1 2 x 1\n4 5 6 1\n1 2 3\n7 8 9 1\n"));
    const Json scan = check(path, 3);
    EXPECT_EQ(scan["records"], 4);
    EXPECT_EQ(scan["points"], 3);
    EXPECT_EQ(scan["grid"], (Json{{"columns", 2}, {"rows", 3}}));
    ASSERT_EQ(scan["findings"].size(), 2u);
    EXPECT_EQ(scan["findings"][1]["text"], "line 15: not \"x y z intensity\"");
    EXPECT_EQ(scan["notes"].size(), 1u) << "an intensity above 1";
    writeFile(path, ptxText(1, 2, "1 2 3 0.5\n0 0 0 0.5\n"));
    EXPECT_EQ(run({"check", path}).out, path + ": sound, 1 columns x 2 rows, 2 cells, 1 point\n");
}

}  // namespace
}  // namespace brisko::tool
