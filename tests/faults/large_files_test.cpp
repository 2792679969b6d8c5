// Files of more than 4 GiB, most of it holes that take no room on the disk.

#include "base/output_file.h"
#include "codec/cl3_completeness.h"
#include "pcplib/files/pcp_file.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <fstream>

namespace brisko {
namespace {

using test::Bytes;
using test::TempFolder;
using test::TestPoint;

constexpr std::uint64_t kFar = (std::uint64_t{5} << 30) + 3;
constexpr TestPoint kPoint = {
    .x = 1, .y = 2, .z = 3, .intensity = 4, .red = 5, .green = 6, .blue = 7};

/// Puts bytes into a file wherever they belong.
class HoledFile {
public:
    explicit HoledFile(const std::string& path) : m_out(path, std::ios::binary) {}

    HoledFile& put(std::uint64_t offset, const Bytes& bytes) {
        m_out.seekp(static_cast<std::streamoff>(offset));
        m_out.write(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
        return *this;
    }

private:
    std::ofstream m_out;
};

TEST(LargeFiles, ACellIsFoundInATileFarBehindTheStart) {
    // Of scan.ij, only the tiles' counts are there, of those that fill more than 4 GiB of scan.cl3;
    // the tile of the point comes where scan.ij is as long.
    constexpr std::uint32_t kTile = 256, kTiles = 17'000, kFullTiles = 2'200;
    constexpr std::uint64_t kTileBytes = 12 + 4 * kTile * kTile, kFullBlock = 5 + 31 * 65'536;
    const TempFolder folder;
    const Bytes fullTile = test::ByteWriter().u32(0).u32(0).u32(kTile * kTile);
    {
        HoledFile index(folder / "a.ij");
        index.put(0, test::ijHeader(kTiles * kTile, kTile, kTile));
        for (std::uint64_t tile = 0; tile < kFullTiles; ++tile)
            index.put(48 + tile * kTileBytes, fullTile);
        index.put(48 + (kTiles - 1) * kTileBytes, test::ijTile(kTiles - 1, 0, {0, 1}));
        index.put(48 + kTiles * kTileBytes - 1, {0});
        HoledFile(folder / "a.cl3")
            .put(0, test::cl3Header(kTiles))
            .put(115 + kFullTiles * kFullBlock + 5 * (kTiles - 1 - kFullTiles),
                 test::cl3Block({kPoint}));
    }
    ASSERT_GT(std::filesystem::file_size(folder / "a.ij"), std::uint64_t{4} << 30);
    ASSERT_GT(std::filesystem::file_size(folder / "a.cl3"), std::uint64_t{4} << 30);
    CL3CellReader reader;
    ASSERT_TRUE(reader.open((folder / "a.cl3").c_str()));
    CellPoint point;
    ASSERT_EQ(reader.readCell((kTiles - 1) * kTile, 1, point), CellState::Point);
    EXPECT_EQ(point.z, kPoint.z);
    EXPECT_EQ(point.blue, kPoint.blue);
    EXPECT_EQ(reader.readCell((kTiles - 1) * kTile, 0, point), CellState::Empty);
}

TEST(LargeFiles, BlocksAreFollowedToTheLastByte) {
    constexpr std::uint32_t kPoints = 140'000'000;
    const TempFolder folder;
    const std::uint64_t last = 115 + 5 + std::uint64_t{kPoints} * 31;
    HoledFile(folder / "a.cl3")
        .put(0, test::cl3Header(2))
        .put(115, test::cl3Block({}, kPoints))
        .put(last, test::cl3Block({kPoint, kPoint}));
    const auto contents = findCompleteCL3(folder / "a.cl3");
    ASSERT_TRUE(contents);
    EXPECT_EQ(*contents, kPoints + 2U);
    std::filesystem::resize_file(folder / "a.cl3", last + 5 + 2 * 31 - 1);
    EXPECT_FALSE(findCompleteCL3(folder / "a.cl3"));
}

TEST(LargeFiles, RawBlocksAreWalkedInStep) {
    constexpr std::int32_t kColumns = 22'000, kRows = 11'000;
    constexpr std::uint64_t kSecondBlock = 120 + 1 + std::uint64_t{20} * kColumns * kRows;
    const TempFolder folder;
    HoledFile(folder / "a.clr")
        .put(0, test::clrHeader(kColumns, kRows, 1, 2))
        .put(kSecondBlock + 1, test::clrRecords({{}, {10'000, 20'000, 30'000, 0, 40}}));
    const auto codec = test::openScan<CLRGridCodec>(folder / "a.clr");
    ASSERT_TRUE(codec);
    TestPoint point;
    ASSERT_TRUE(test::readFirst(*codec, point));
    EXPECT_NEAR(point.z, 3, 1e-9);
    EXPECT_EQ(point.column, 0U);
    EXPECT_EQ(point.row, 1U);
}

TEST(LargeFiles, WhatIsPatchedStandsBehindAllThatWasWritten) {
    const TempFolder folder;
    const Bytes bytes = {1, 2, 3, 4}, patch = {8, 9};
    OutputFile out;
    ASSERT_TRUE(out.create((folder / "a").c_str()));
    ASSERT_TRUE(out.streamAt(0));
    out.returnStream(kFar);
    out.append(bytes);
    out.patch(kFar + 1, patch);
    ASSERT_TRUE(out.close());

    QelPcpLib::PcpFile file;
    ASSERT_TRUE(file.Open(folder / "a", QelPcpLib::OpenMode::MappedReadWrite));
    EXPECT_EQ(file.GetLength(), kFar + bytes.size());
    QelPcpLib::PcpFileMapping mapping(file, file.GetLength(), 1000);
    const std::uint8_t* const window = mapping.MapWindow(kFar, bytes.size());
    ASSERT_TRUE(window);
    EXPECT_EQ(Bytes(window, window + bytes.size()), (Bytes{1, 8, 9, 4}));
}

}  // namespace
}  // namespace brisko
