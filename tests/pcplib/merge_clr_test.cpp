#include "pcplib/processes/merge_clr.h"

#include "pcplib/files/progress_callback.h"
#include "support/printed_by.h"
#include "support/read_points.h"

#include <filesystem>

namespace QelPcpLib {
namespace {

using namespace brisko::test;
using Names = std::vector<std::string>;

constexpr std::int32_t kColumns = 3, kRows = 260;
constexpr std::size_t kBlock = 1 + 20 * kColumns * kRows;

/// A block in which every third cell holds a point; without a seed none does.
Bytes block(std::uint32_t format, std::uint8_t flag, std::int32_t seed) {
    ByteWriter bytes;
    bytes.u8(flag);
    for (std::int32_t column = 0; column < kColumns; ++column) {
        std::vector<ClrRecord> line(kRows);
        for (std::size_t i = 0; i < kRows && seed != 0; i += 3)
            line[i] = {seed * 1000 + column * kRows + static_cast<std::int32_t>(i), seed, 50, 0, 9};
        bytes.bytes(format == 2 ? compressedLine(line) : clrRecords(line));
    }
    return bytes;
}

/// A file of such blocks, flags 1, 2 and so on.
Bytes fileOf(std::uint32_t format, const std::vector<std::int32_t>& seeds) {
    ByteWriter bytes;
    bytes.bytes(clrHeader(kColumns, kRows, format, static_cast<std::uint32_t>(seeds.size())));
    std::uint8_t flag = 0;
    for (const std::int32_t seed : seeds)
        bytes.bytes(block(format, ++flag, seed));
    return bytes;
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
        Bytes first = fileOf(format, {1}), second = fileOf(format, {2, 3});
        first[0] = 'H';  // whatever the header holds
        first[79] = 0xAB;
        // What stands behind the blocks of the first file stays there.
        const Series series(ByteWriter().bytes(first).u32(0x01010101), second);
        EXPECT_EQ(series.merge(), 0);
        first[116] = 3;
        second.erase(second.begin(), second.begin() + 120);
        EXPECT_TRUE(series.merged() == ByteWriter().bytes(first).bytes(second).done()) << format;
        EXPECT_EQ(series.folder.names(), (Names{"a.clr", "a_000.clr", "a_001.clr"}));
    }
}

TEST(CombineMultiCLR, WhatACutCompressedFileLacksBecomesEmptyCells) {
    const Bytes empty = fileOf(2, {0}), whole = fileOf(2, {1, 2});
    for (std::size_t size = 120; size < whole.size(); size += 97) {
        Bytes cut = whole;
        cut.resize(size);
        const auto mergedPoints = [](const Series& series) {
            EXPECT_EQ(series.merge(), 0);
            return readScan<CLRGridCodec>(series.output);
        };
        const Series cutFirst(cut, empty), behindCut(cut, whole);
        const auto points = readScan<CLRGridCodec>(cutFirst.a);
        EXPECT_EQ(mergedPoints(cutFirst), points) << size;
        EXPECT_EQ(mergedPoints(Series(empty, cut)), points) << size;
        // The blocks of the second file are where a reader looks for them.
        EXPECT_EQ(mergedPoints(behindCut), readScan<CLRGridCodec>(behindCut.b));
    }
}

TEST(CombineMultiCLR, TakesSortedCopiesOfCompressedScansAsPlainRecords) {
    const Bytes file = ByteWriter().bytes(clrHeader(kColumns, kRows, 2, 1)).bytes(block(0, 0, 1));
    const Series series(file, file);
    EXPECT_EQ(series.merge(), 0);
    EXPECT_EQ(series.merged().size(), 120 + 2 * kBlock);
    EXPECT_EQ(readScan<CLRGridCodec>(series.output), readScan<CLRGridCodec>(series.a));
}

/// A process polls once for every megabyte.
struct CallCounter : CProgressCallback {
    void Poll() override { ++polls; }
    int polls = 0;
};

TEST(CombineMultiCLR, RefusesFilesThatDoNotFitOrClaimTooMuch) {
    const auto header = clrHeader;
    constexpr std::uint32_t kMostBlocks = 4294967295;
    constexpr std::int32_t kMost = 2147483647;
    const Bytes damaged = ByteWriter().bytes(header(1, 1, 2, 1)).u8(0).u32(5001).bytes(Bytes(6000));
    const Bytes compressed = fileOf(2, {1});
    const Bytes sortedCopy =
        ByteWriter().bytes(header(kColumns, kRows, 2, 1)).bytes(block(0, 0, 1));
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
        {"a sorted copy of compressed lines behind compressed lines", compressed, sortedCopy},
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
    const Bytes file = fileOf(0, {1});
    const Series series(file, file);
    std::filesystem::create_symlink("a_001.clr", series.output);
    EXPECT_EQ(series.merge(), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.b, series.a, nullptr), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.folder / "missing.clr", series.output, nullptr), 1);
    EXPECT_TRUE(readFile(series.a) == file);
    EXPECT_TRUE(readFile(series.b) == file);
    EXPECT_EQ(series.folder.names().size(), 3U);
}

}  // namespace
}  // namespace QelPcpLib
