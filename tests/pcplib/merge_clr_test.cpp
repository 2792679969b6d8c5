#include "pcplib/processes/merge_clr.h"

#include "pcplib/files/progress_callback.h"
#include "support/conversion_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace QelPcpLib {
namespace {

using namespace brisko::test;
using Names = std::vector<std::string>;

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

TEST(CombineMultiCLR, TakesSortedCopiesOfCompressedScansAsPlainRecords) {
    const Series series(sortedCopy(), sortedCopy());
    EXPECT_EQ(series.merge(), 0);
    EXPECT_EQ(series.merged().size(), 120 + 2 * (1 + 20 * 3 * 260));
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
        {"a sorted copy of compressed lines after compressed lines", compressed, sortedCopy()},
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
}

}  // namespace
}  // namespace QelPcpLib
