#include "pcplib/files/progress_callback.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"
#include "pcplib/processes/sorted_lines.h"
#include "support/compressed_decoder.h"
#include "support/conversion_fixture.h"
#include "support/printed_by.h"
#include "support/read_points.h"
#include "support/scan_bytes.h"
#include "support/scan_walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

constexpr std::int32_t kMost = 2147483647, kLeast = -2147483647 - 1;

TEST(ClassifyLine, ComparesTheElevationsOfTheFirstAndTheLastMeasuredPoint) {
    const ClrRecord low{100, 0, 10, 0, 1}, high{100, 0, 11, 0, 1}, highGap{100, 0, 90, 0, 0};
    const ClrRecord negativeGap{100, 0, 90, 0, -1};
    const struct {
        std::vector<ClrRecord> line;
        int direction;
    } cases[] = {
        {{}, 0},
        {{low}, 0},
        {{highGap, highGap}, 0},
        {{highGap, low, negativeGap}, 0},
        {{low, high}, 1},
        {{high, low}, -1},
        {{low, low}, -1},  // equal
        {{highGap, low, highGap, high, negativeGap}, 1},
        {{high, low, high, low}, -1},
        // What counts is the angle: farther away, the higher point is seen lower.
        {{{100, 0, 10, 0, 1}, {0, -1000, 90, 0, 1}}, -1},
        {{{0, 0, 0, 0, 1}, {0, 0, 5, 0, 1}}, 1},
        {{{kMost, kLeast, kLeast, 0, 1}, {kLeast, kLeast, kMost, 0, kMost}}, 1},
    };
    for (const auto& c : cases) {
        Bytes bytes = clrRecords(c.line);
        EXPECT_EQ(ClassifyLine(bytes.data(), c.line.size()), c.direction) << &c - cases;
        // The same when the line is looked through record by record, at odd addresses.
        bytes.insert(bytes.begin(), 0);
        LineEnds ends;
        for (std::size_t i = 0; i < c.line.size(); ++i)
            ends.look(bytes.data() + 1 + 20 * i, 1);
        EXPECT_EQ(ends.direction(), c.direction) << &c - cases;
    }
}

using Names = std::vector<std::string>;
using Line = std::vector<ClrRecord>;

/// A folder with scan.clr in it.
struct Scan {
    explicit Scan(const Bytes& bytes) { writeFile(path, bytes); }

    bool convert() {
        bool result = false;
        said = printedBy([&] { result = ConvertClrFile(path); });
        return result;
    }
    Bytes copy() const { return readFile(copyPath); }

    TempFolder folder;
    std::string path = folder / "scan.clr";
    std::string copyPath = folder / "scan.clr.Converted.clr";
    std::string said;
};

/// Whether the k-th line has to be turned, the long way.
bool hasToBeTurned(std::size_t k, const Line& line) {
    const auto measured = [](const ClrRecord& r) { return r.intensity >= 1; };
    const auto first = std::find_if(line.begin(), line.end(), measured);
    const auto last = std::find_if(line.rbegin(), line.rend(), measured);
    if (first == line.end() || &*first == &*last) return false;
    const auto elevation = [](const ClrRecord& r) { return std::atan2(r.z, std::hypot(r.x, r.y)); };
    const bool rises = elevation(*last) > elevation(*first);
    return rises == (k % 2 == 1);
}

Line sorted(std::size_t k, Line line) {
    if (hasToBeTurned(k, line)) std::reverse(line.begin(), line.end());
    return line;
}

std::vector<Line> randomLines(std::size_t lines, std::size_t rows, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Line> result(lines, Line(rows));
    for (Line& line : result) {
        for (ClrRecord& r : line) {
            const auto number = [&random] { return static_cast<std::int32_t>(random() % 65536); };
            r = {number() - 32768, number() * 4000, number() - 32768, 0, number() % 3};
        }
    }
    return result;
}

TEST(SortCLR, DecodesCompressedLinesAndReportsWhatItDoes) {
    const auto lines = randomLines(4, 600, 2);
    ByteWriter in, out;
    in.bytes(clrHeader(2, 600, 2, 2));
    out.bytes(in);
    std::string said;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i % 2 == 0) {
            in.u8(7);
            out.u8(7);
            said += "Read block :" + std::to_string(i / 2) + "\n";
        }
        const Bytes line = compressedLine(lines[i]);
        in.bytes(line);
        out.bytes(clrRecords(sorted(i % 2, decodeLine(line, 600))));
        for (const std::string points : {"250", "250", "100"})
            said += "Start decode\nEnd decode\nConvert ptData  iRetPnt=" + points + "\n";
        if (!hasToBeTurned(i % 2, lines[i])) said += "check!\n";
    }
    Scan scan(in);
    EXPECT_TRUE(scan.convert());
    EXPECT_EQ(scan.said, "Read CLR file: " + scan.path + "\n" + said);
    EXPECT_TRUE(scan.copy() == out.done());
}

TEST(SortCLR, EndsTheCopyAtALengthThatNoPieceHas) {
    // A piece of so many bytes that begins with a point at height 7.
    const auto piece = [](std::uint32_t length) {
        return ByteWriter()
            .u32(length)
            .bytes(fromHex("00 05 00 07 00 01 00"))
            .bytes(Bytes(length - 7));
    };
    ByteWriter in, out;
    in.bytes(clrHeader(3, 1, 2, 1)).u8(9);
    out.bytes(in).bytes(clrRecords({{5, 0, 7, 0, 1}}));
    Scan scan(in.bytes(piece(5000)).bytes(piece(5001)));
    EXPECT_TRUE(scan.convert());
    EXPECT_EQ(scan.said, "Read CLR file: " + scan.path +
                             "\nRead block :0\n"
                             "Start decode\nEnd decode\nConvert ptData  iRetPnt=1\ncheck!\n"
                             "iDataLength=5001 / bufsize=5000\n"
                             "Invalid data length couldn't read!\r\n"
                             "File:" +
                             scan.path + "\n\nInvalid data length (5001) in block 0\n");
    EXPECT_EQ(scan.copy(), out.done());
}

TEST(SortCLR, GridsWithoutLinesAreReportedAndEndWithTheFile) {
    const struct {
        std::int32_t columns, rows;
        std::uint32_t blocks;
        Bytes content;
        std::string said;
        std::size_t copied;
    } cases[] = {
        {0, 5, 1, {1, 2, 3}, "Read block :0\n", 1},
        {5, 0, 2, {1, 2, 3}, "Read block :0\nCheck!!\nRead block :1\nCheck!!\n", 2},
        {-5, 5, 1, {1}, "Read block :0\nCheck!!\n", 1},
        {5, -5, 4294967295U, {1}, "Read block :0\nCheck!!\nRead block :1\n", 1},
        {2147483647, 2147483647, 4294967295U, {1}, "Read block :0\nCheck!!\n", 1},
        {0, 5, 0, {1}, "", 0},
    };
    for (const auto& c : cases) {
        const Bytes header = clrHeader(c.columns, c.rows, 2, c.blocks);
        Scan scan(ByteWriter().bytes(header).bytes(c.content));
        EXPECT_TRUE(scan.convert());
        EXPECT_EQ(scan.said, "Read CLR file: " + scan.path + "\n" + c.said);
        EXPECT_EQ(scan.copy().size(), 120 + c.copied);
    }
}

TEST(SortCLR, RefusesWhatItCannotCopy) {
    const Bytes files[] = {
        clrHeader(1, 214'748'365, 0, 1),  // a line of 4,294,967,300 bytes
        clrHeader(1, 1, 3, 1),            // point formats without lines
        clrHeader(1, 1, 255, 1),
        ByteWriter().bytes(clrHeader(1, 100'000'000, 0, 1)).u32(1),  // a line lacks two gigabytes
    };
    for (const Bytes& bytes : files) {
        Scan scan(bytes);
        EXPECT_FALSE(scan.convert());
        EXPECT_EQ(scan.said, "");
        EXPECT_EQ(scan.folder.names(), Names{"scan.clr"});
    }
}

TEST(SortCLR, AFileThatCannotBeOpenedIsDescribedByAnEmptyLine) {
    Scan scan(clrHeader(0, 0, 0, 0));
    EXPECT_EQ(printedBy([&] {
                  EXPECT_EQ(SortCLR(scan.path, nullptr), 0);
                  EXPECT_EQ(SortCLR(scan.folder / "missing.clr", nullptr), 176);
                  EXPECT_FALSE(ConvertClrFile(scan.folder.path().string()));
              }),
              "SortCLR\nSortCLR\n\n\n");
    std::filesystem::remove(scan.copyPath);
    std::filesystem::create_symlink("scan.clr", scan.copyPath);
    EXPECT_FALSE(scan.convert());  // the copy would take the place of the scan
    EXPECT_EQ(scan.said, "\n");
    EXPECT_EQ(readFile(scan.path), clrHeader(0, 0, 0, 0));
    std::filesystem::remove(scan.copyPath);
    std::filesystem::create_directory(scan.copyPath);
    EXPECT_FALSE(scan.convert());
    EXPECT_EQ(scan.said, "\n");
    EXPECT_EQ(scan.folder.names().size(), 2U);
}

TEST(SortCLR, LinesTooLongForMemoryAreTurnedInTheFile) {
    constexpr std::int32_t kRows = 1'200'003;
    Line up(kRows);
    for (std::int32_t i = 0; i < kRows; ++i)
        up[static_cast<std::size_t>(i)] = {1'000'000, 0, i, i, 1};
    up.back().intensity = 0;
    ByteWriter start;
    start.bytes(clrHeader(2, kRows, 1, 1)).u8(0).bytes(clrRecords(up));
    // The second line whole, and cut in its middle: what it lacks is at its end, turned with it.
    for (const std::ptrdiff_t lacking : {0, 700'000}) {
        Line second(up.begin(), up.end() - lacking);
        Scan scan(ByteWriter().bytes(start).bytes(clrRecords(second)));
        second.resize(kRows);
        EXPECT_TRUE(scan.convert());
        EXPECT_TRUE(scan.copy() ==
                    ByteWriter().bytes(start).bytes(clrRecords(sorted(1, second))).done());
    }
}

Bytes fileOf(std::uint32_t format, std::uint32_t blocks = 1) {
    Bytes file =
        rawScan({.format = format, .blocks = blocks, .columns = 3, .rows = 260, .seed = blocks});
    file[120] = 77;  // the flag of the first block
    return file;
}

/// Plain records under a header that announces compressed lines.
Bytes sortedCopy() {
    Bytes file = fileOf(1);
    file[112] = 2;
    return file;
}

/// Two files of a series, and where they go.
struct Series {
    Series(const Bytes& first, const Bytes& second) {
        writeFile(a, first);
        writeFile(b, second);
    }
    std::uint16_t merge(CProgressCallback* callback = nullptr) const {
        return CombineMultiCLR(a, b, output, callback);
    }
    Bytes merged() const { return readFile(output); }

    TempFolder folder;
    std::string a = folder / "a_000.clr", b = folder / "a_001.clr", output = folder / "a.clr";
};

TEST(CombineMultiCLR, AppendsTheBlocksOfTheSecondFile) {
    for (const std::uint32_t format : {0U, 1U, 2U, 3U}) {
        Bytes first = fileOf(format), second = fileOf(format, 2);
        first[0] = 'H';  // whatever the header holds
        first[79] = 0xAB;
        // What stands after the blocks of the first file stays there.
        const Series series(ByteWriter().bytes(first).u32(0x01010101), second);
        EXPECT_EQ(series.merge(), 0);
        first[116] = 3;
        second.erase(second.begin(), second.begin() + 120);
        EXPECT_TRUE(series.merged() == ByteWriter().bytes(first).bytes(second).done()) << format;
        EXPECT_EQ(series.folder.names(), (Names{"a.clr", "a_000.clr", "a_001.clr"}));
    }
}

TEST(CombineMultiCLR, WhatACutCompressedFileLacksBecomesWholePieces) {
    const Bytes whole = fileOf(2);
    for (const std::size_t size : {121UL, 130UL, whole.size() / 2, whole.size() - 1}) {
        const Series series(whole, cutTo(whole, size));
        EXPECT_EQ(series.merge(), 0);
        EXPECT_EQ(damageOf(series.output), "") << size;
    }
}

TEST(CombineMultiCLR, GivesThePointsThatASeriesReaderGives) {
    const struct {
        const char* what;
        Bytes first, second;
        bool fit;
    } cases[] = {{"plain records", fileOf(1), fileOf(1, 2), true},
                 {"compressed lines", fileOf(2), fileOf(2, 2), true},
                 {"sorted copies of compressed lines", sortedCopy(), sortedCopy(), true},
                 {"a sorted copy after compressed lines", fileOf(2), sortedCopy(), false},
                 {"compressed lines after a sorted copy", sortedCopy(), fileOf(2), false},
                 {"plain records after compressed lines", fileOf(2), fileOf(1), false},
                 {"compressed lines after plain records", fileOf(1), fileOf(2), false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Series series(c.first, c.second);
        EXPECT_EQ(series.merge() == 0, c.fit);
        const CodecPtr<CLRGridCodec> codec(brisko::createCLRSeriesCodec({series.b}));
        ASSERT_TRUE(codec->Open(series.a.c_str()));
        const std::vector<TestPoint> points = readAll(*codec);
        EXPECT_EQ(points.empty(), !c.fit);
        EXPECT_EQ(brisko::getReadProblem(*codec).file, c.fit ? "" : series.b);
        if (!c.fit) continue;
        EXPECT_EQ(points, readScan<CLRGridCodec>(series.output));
        EXPECT_EQ(points, readAllBatched(*codec, 77));
    }
}

/// A process polls once for every megabyte.
struct CallCounter : CProgressCallback {
    void Poll() override { ++polls; }
    int polls = 0;
};

TEST(CombineMultiCLR, RefusesFilesThatDoNotFitOrClaimTooMuch) {
    const auto header = clrHeader;
    constexpr std::uint32_t kMostBlocks = 4294967295;
    const Bytes damaged = ByteWriter().bytes(header(1, 1, 2, 1)).u8(0).u32(5001).bytes(Bytes(6000));
    const Bytes compressed = fileOf(2);
    const struct {
        const char* what;
        Bytes first, second;
    } cases[] = {
        {"columns", header(2, 2, 0, 0), header(3, 2, 0, 0)},
        {"rows", header(2, 2, 0, 0), header(2, 3, 0, 0)},
        {"point format", header(2, 2, 0, 0), header(2, 2, 1, 0)},
        {"unknown point format", header(2, 2, 4, 0), header(2, 2, 4, 0)},
        {"negative columns", header(-2, 2, 0, 0), header(-2, 2, 0, 0)},
        {"negative rows", header(2, -2, 0, 0), header(2, -2, 0, 0)},
        {"too many blocks", header(0, 0, 0, kMostBlocks), header(0, 0, 0, 1)},
        {"four gigabytes of flags", header(0, 0, 0, kMostBlocks), header(0, 0, 0, 0)},
        {"the same, compressed", header(0, 0, 2, kMostBlocks), header(0, 0, 2, 0)},
        {"endless", header(kMost, kMost, 0, kMostBlocks - 1), header(kMost, kMost, 0, 1)},
        {"the same, compressed", header(kMost, kMost, 2, kMostBlocks - 1),
         header(kMost, kMost, 2, 1)},
        {"large", header(40'000, 40'000, 1, 1), header(40'000, 40'000, 1, 1)},
        {"the same, compressed", header(40'000, 40'000, 2, 1), header(40'000, 40'000, 2, 1)},
        {"damage", damaged, damaged},
        {"nothing", Bytes{}, compressed},
    };
    for (const auto& c : cases) {
        const Series series(c.first, c.second);
        CallCounter calls;
        EXPECT_EQ(series.merge(&calls), 1) << c.what;
        EXPECT_LE(calls.polls, 1) << c.what << ": more than a megabyte was written";
        EXPECT_EQ(series.folder.names(), (Names{"a_000.clr", "a_001.clr"})) << c.what;
    }
}

TEST(CombineMultiCLR, NeverWritesOverItsInputs) {
    const Bytes file = fileOf(0);
    const Series series(file, file);
    std::filesystem::create_symlink("a_001.clr", series.output);
    EXPECT_EQ(series.merge(), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.b, series.a, nullptr), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.folder / "missing.clr", series.output, nullptr), 1);
    EXPECT_TRUE(readFile(series.a) == file);
    EXPECT_TRUE(readFile(series.b) == file);
    EXPECT_EQ(series.folder.names().size(), 3U);
    const Series empty(clrHeader(0, 0, 0, 0), {});
    EXPECT_EQ(CombineMultiCLR(empty.a, empty.folder / "missing.clr", empty.output, nullptr), 1);
}

}  // namespace
}  // namespace QelPcpLib
