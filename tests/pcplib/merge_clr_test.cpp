#include "pcplib/processes/merge_clr.h"

#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace QelPcpLib {
namespace {

using brisko::test::Bytes;
using brisko::test::ByteWriter;
using brisko::test::clrHeader;
using brisko::test::ClrRecord;
using brisko::test::clrRecords;
using brisko::test::TempFolder;
using Names = std::vector<std::string>;

constexpr std::int32_t kColumns = 3, kRows = 260;
constexpr std::size_t kBlock = 1 + 20 * kColumns * kRows;

/// The records of a block: every third cell holds a point.
std::vector<ClrRecord> cells(std::int32_t seed) {
    std::vector<ClrRecord> records(kColumns * kRows);
    for (std::size_t i = 0; i < records.size(); i += 3)
        records[i] = {seed * 1000 + static_cast<std::int32_t>(i), seed, 50, 0, 9};
    return records;
}

Bytes plainBlock(std::uint8_t flag, const std::vector<ClrRecord>& records) {
    return ByteWriter().u8(flag).bytes(clrRecords(records));
}

Bytes compressedBlock(std::uint8_t flag, const std::vector<ClrRecord>& records) {
    Bytes bytes{flag};
    std::vector<brisko::RawRecord> line;
    for (const ClrRecord& r : records) {
        line.push_back({r.x, r.y, r.z, r.fourth, r.intensity});
        if (line.size() < kRows) continue;
        brisko::encodeCompressedLine(line.data(), line.size(), bytes);
        line.clear();
    }
    return bytes;
}

Bytes block(std::uint32_t format, std::uint8_t flag, std::int32_t seed) {
    return format == 2 ? compressedBlock(flag, cells(seed)) : plainBlock(flag, cells(seed));
}

/// Two files of a series, and where they go.
struct Series {
    Series(const Bytes& first, const Bytes& second) {
        brisko::test::writeFile(a, first);
        brisko::test::writeFile(b, second);
    }
    std::uint16_t merge(CProgressCallback* callback = nullptr) const {
        return CombineMultiCLR(a, b, output, callback);
    }
    Bytes merged() const { return brisko::test::readFile(output); }

    TempFolder folder;
    std::string a = folder / "a_000.clr", b = folder / "a_001.clr", output = folder / "a.clr";
};

TEST(CombineMultiCLR, AppendsTheBlocksOfTheSecondFile) {
    for (const std::uint32_t format : {0U, 1U, 2U, 3U}) {
        const Bytes x = block(format, 1, 1), y = block(format, 2, 2), z = block(format, 3, 3);
        Bytes header = clrHeader(kColumns, kRows, format, 1);
        header[0] = 'H';  // whatever the header holds
        header[79] = 0xAB;
        // What stands behind the blocks of the first file stays there.
        const Series series(
            ByteWriter().bytes(header).bytes(x).u32(0x01010101),
            ByteWriter().bytes(clrHeader(kColumns, kRows, format, 2)).bytes(y).bytes(z));
        EXPECT_EQ(series.merge(), 0);
        header[116] = 3;
        EXPECT_TRUE(series.merged() == Bytes(ByteWriter().bytes(header).bytes(x).bytes(y).bytes(z)))
            << format;
        EXPECT_EQ(series.folder.names(), (Names{"a.clr", "a_000.clr", "a_001.clr"}));
    }
}

TEST(CombineMultiCLR, WhatACutPlainFileLacksBecomesEmptyCells) {
    const Bytes whole = ByteWriter()
                            .bytes(clrHeader(kColumns, kRows, 0, 2))
                            .bytes(block(0, 1, 1))
                            .bytes(block(0, 2, 2));
    for (const std::size_t size : {120UL, 121UL, 130UL, 120 + kBlock, whole.size() - 1}) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const Series series(cut, cut);
        EXPECT_EQ(series.merge(), 0);
        cut.resize(whole.size());
        Bytes expected = cut;
        expected.insert(expected.end(), cut.begin() + 120, cut.end());
        expected[116] = 4;
        EXPECT_TRUE(series.merged() == expected) << size;
    }
}

TEST(CombineMultiCLR, WhatACutCompressedFileLacksBecomesEmptyCells) {
    const Bytes empty = ByteWriter()
                            .bytes(clrHeader(kColumns, kRows, 2, 1))
                            .bytes(compressedBlock(0, std::vector<ClrRecord>(kColumns * kRows)));
    const Bytes whole = ByteWriter()
                            .bytes(clrHeader(kColumns, kRows, 2, 2))
                            .bytes(block(2, 1, 1))
                            .bytes(block(2, 2, 2));
    for (std::size_t size = 120; size < whole.size(); size += 97) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const Series cutFirst(cut, empty), cutSecond(empty, cut), behindCut(cut, whole);
        const auto points = brisko::test::readScan<CLRGridCodec>(cutFirst.a);
        EXPECT_EQ(cutFirst.merge(), 0);
        EXPECT_EQ(brisko::test::readScan<CLRGridCodec>(cutFirst.output), points) << size;
        EXPECT_EQ(cutSecond.merge(), 0);
        EXPECT_EQ(brisko::test::readScan<CLRGridCodec>(cutSecond.output), points) << size;
        // The blocks of the second file are where a reader looks for them.
        EXPECT_EQ(behindCut.merge(), 0);
        EXPECT_EQ(brisko::test::readScan<CLRGridCodec>(behindCut.output),
                  brisko::test::readScan<CLRGridCodec>(behindCut.b));
    }
}

TEST(CombineMultiCLR, TakesSortedCopiesOfCompressedScansAsPlainRecords) {
    const Bytes file = ByteWriter().bytes(clrHeader(kColumns, kRows, 2, 1)).bytes(block(0, 0, 1));
    const Series series(file, file);
    EXPECT_EQ(series.merge(), 0);
    EXPECT_EQ(series.merged().size(), 120 + 2 * kBlock);
    EXPECT_EQ(brisko::test::readScan<CLRGridCodec>(series.output),
              brisko::test::readScan<CLRGridCodec>(series.a));
}

/// A process polls once for every megabyte.
struct CallCounter : CProgressCallback {
    void Poll() override { ++polls; }
    int polls = 0;
};

TEST(CombineMultiCLR, RefusesFilesThatDoNotFitOrClaimTooMuch) {
    const auto header = [](std::int32_t columns, std::int32_t rows, std::uint32_t format,
                           std::uint32_t blocks) {
        return clrHeader(columns, rows, format, blocks);
    };
    const Bytes damaged = ByteWriter().bytes(header(1, 1, 2, 1)).u8(0).u32(5001).bytes(Bytes(6000));
    const Bytes compressed =
        ByteWriter().bytes(header(kColumns, kRows, 2, 1)).bytes(block(2, 0, 1));
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
        {"too many blocks", header(0, 0, 0, 4294967295), header(0, 0, 0, 1)},
        {"four gigabytes of flags", header(0, 0, 0, 4294967295), header(0, 0, 0, 0)},
        {"the same, compressed", header(0, 0, 2, 4294967295), header(0, 0, 2, 0)},
        {"endless", header(2147483647, 2147483647, 0, 4294967294),
         header(2147483647, 2147483647, 0, 1)},
        {"the same, compressed", header(2147483647, 2147483647, 2, 4294967294),
         header(2147483647, 2147483647, 2, 1)},
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
    const Bytes file = ByteWriter().bytes(clrHeader(kColumns, kRows, 0, 1)).bytes(block(0, 0, 1));
    const Series series(file, file);
    std::filesystem::create_symlink("a_001.clr", series.output);
    EXPECT_EQ(series.merge(), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.b, series.a, nullptr), 1);
    EXPECT_EQ(CombineMultiCLR(series.a, series.folder / "missing.clr", series.output, nullptr), 1);
    EXPECT_TRUE(brisko::test::readFile(series.a) == file);
    EXPECT_TRUE(brisko::test::readFile(series.b) == file);
    EXPECT_EQ(series.folder.names().size(), 3U);
}

/// Gives up at a call of the process.
class Impatient : public CProgressCallback {
public:
    explicit Impatient(int calls) : m_left(calls) {}
    void Poll() override {
        if (m_left-- == 0) throw 0;
    }

private:
    int m_left;
};

TEST(CombineMultiCLR, AFullDiskOrACancellationLeavesTheEarlierOutput) {
    for (const std::uint32_t format : {0U, 2U}) {
        ByteWriter file;
        file.bytes(clrHeader(kColumns, kRows, format, 200));
        for (std::int32_t seed = 0; seed < 200; ++seed)
            file.bytes(block(format, 0, seed));
        const Series series(file, file);
        brisko::test::writeFile(series.output, "earlier");
        const std::size_t size = 2 * file.done().size() - 120;
        for (const rlim_t limit : {rlim_t{0}, rlim_t{119}, rlim_t{300'000}, rlim_t{size - 1}}) {
            const brisko::test::FileSizeLimit full(limit);
            EXPECT_EQ(series.merge(), 1);
            EXPECT_EQ(brisko::test::readText(series.output), "earlier");
            EXPECT_EQ(series.folder.names().size(), 3U);
        }
        int calls = 0;
        for (bool stopped = true; stopped; ++calls) {
            Impatient callback(calls);
            try {
                EXPECT_EQ(series.merge(&callback), 0);
                EXPECT_EQ(callback.GetPos(), 100);
                stopped = false;
            } catch (int) {
                EXPECT_EQ(brisko::test::readText(series.output), "earlier");
            }
            EXPECT_EQ(series.folder.names().size(), 3U);
        }
        EXPECT_GT(calls, 2);
        EXPECT_EQ(series.merged().size(), size);
    }
}

}  // namespace
}  // namespace QelPcpLib
