#include <brisko_codec/writers.h>

#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace brisko {
namespace {

using namespace test;

std::uint32_t u32At(const Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, &bytes.at(at), sizeof value);
    return value;
}

TEST(CL3Writer, WritesAFileAsPinned) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    CL3WriterCodec writer;
    ASSERT_TRUE(writer.Open(path.c_str(), nullptr));
    writer.WritePoint(1.0, -2.5, 0.1, 1999.5F, 10, 20, 30, 77);
    writer.WritePoint(0, 0, 0, 0, 1, 2, 3, 88);  // kept: this writer judges no point
    EXPECT_EQ(getDroppedPoints(writer).total(), 1U) << "no reader takes the second for a point";
    EXPECT_TRUE(writer.Close());
    EXPECT_FALSE(writer.HasWriteError());
    const std::string zeros(2 * (32 - 7 + 46), '0');
    EXPECT_EQ(readFile(path),
              fromHex("434c335f302e37" + zeros +
                      "00000000 00000000"                    // conditions
                      "00000000 00000000 00000000 00000000"  // angles
                      "0000803f 0000803f 01000000 01"        // steps of 1
                      "02000000 00"                          // the block
                      "000000000000f03f 00000000000004c0 9a9999999999b93f 00f0f944 0a141e"
                      "0000000000000000 0000000000000000 0000000000000000 00000000 010203"));
}

TEST(CL3Writer, CutsBlocksAtAMillionPoints) {
    constexpr std::size_t kMillion = 1'000'000;
    const struct {
        std::size_t points;
        std::uint32_t blockCount;           // in the header
        std::vector<std::uint32_t> blocks;  // headers in the file, one perhaps after the counted
    } cases[] = {
        {0, 1, {0, 0}},
        {kMillion - 1, 1, {kMillion - 1}},
        {kMillion, 2, {kMillion, 0, 0}},
        {kMillion + 1, 2, {kMillion, 1}},
    };
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    for (const auto& c : cases) {
        CL3WriterCodec writer;
        CL3FileHeader header;
        writer.Open(path.c_str(), &header);
        for (std::size_t i = 0; i < c.points; ++i)
            writer.WritePoint(static_cast<double>(i), 0, 0, 1, 0, 0, 0, 255);
        EXPECT_TRUE(writer.Close());
        const Bytes bytes = readFile(path);
        EXPECT_EQ(u32At(bytes, 110), c.blockCount);
        std::size_t at = 115;
        for (const std::uint32_t count : c.blocks) {
            EXPECT_EQ(u32At(bytes, at), count);
            at += 5 + std::size_t{31} * count;
        }
        EXPECT_EQ(bytes.size(), at);
        EXPECT_EQ(openScan<CL3Codec>(path)->GetPointCount(), static_cast<std::int64_t>(c.points));
    }
}

TEST(CL3Writer, TakesTheHeaderOfAnyScan) {
    const TempFolder folder;
    CLRFileHeader source;
    source.SetSerialNumber("SN1");
    source.SetStopAzimuthAngle(360);
    source.SetAzimuthResolution(720);
    source.SetZenithResolution(0);
    source.SetPointFormat(3);
    CL3WriterCodec writer;
    writer.Open((folder / "scan.cl3").c_str(), &source);
    writer.Close();
    CL3FileHeader header;
    header.Read((folder / "scan.cl3").c_str());
    EXPECT_EQ(header.GetSerialNumber().substr(0, 4), std::string("SN1\0", 4));
    EXPECT_EQ(header.GetDeltaAzimuthAngle(), 0.5F);
    EXPECT_EQ(header.GetAzimuthResolution(), 720U);
    EXPECT_EQ(header.GetPointFormat(), 1);
}

TEST(CL3Writer, AbandonedLeavesTheLastBlockUncounted) {
    const TempFolder folder;
    {
        CL3WriterCodec writer;
        writer.Open((folder / "scan.cl3").c_str(), nullptr);
        writer.WritePoint(1, 2, 3, 4, 0, 0, 0, 255);
    }
    const Bytes bytes = readFile(folder / "scan.cl3");
    EXPECT_EQ(bytes.size(), 115U + 5 + 31);
    EXPECT_EQ(u32At(bytes, 110), 1U);
    EXPECT_EQ(u32At(bytes, 115), 0U);
}

TEST(CL3Writer, OnAFullDiskCountsWhatIsThere) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    CL3WriterCodec writer;
    {
        const FileSizeLimit limit(115 + 5 + 31 * 20'000 + 17);
        ASSERT_TRUE(writer.Open(path.c_str(), nullptr));
        for (int i = 0; i < 50'000; ++i)
            writer.WritePoint(i + 1, 0, 0, 1, 0, 0, 0, 255);
        EXPECT_TRUE(writer.HasWriteError());
    }
    for (int i = 0; i < 50'000; ++i)  // room again: too late
        writer.WritePoint(-1, 0, 0, 1, 0, 0, 0, 255);
    EXPECT_TRUE(writer.Close());
    EXPECT_TRUE(writer.HasWriteError());
    const auto points = readScan<CL3Codec>(path);
    ASSERT_EQ(points.size(), 20'000U);
    EXPECT_EQ(points.back().x, 20'000.0);
}

}  // namespace
}  // namespace brisko
