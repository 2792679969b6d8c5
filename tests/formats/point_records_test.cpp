#include <brisko_codec/block_header.h>
#include <brisko_codec/point_records.h>

#include "base/file.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace brisko {
namespace {

using namespace test;

// 1.0, -2.5, 0.1 as doubles and 1999.5 as a float, from their IEEE patterns; red, green, blue.
const char* const kRecord1 = "000000000000f03f 00000000000004c0 9a9999999999b93f 00f0f944 0a141e";

TEST(PointRecords, CL3LiesOnDiskAsPinned) {
    const Bytes bytes = fromHex(kRecord1);
    CL3Point1 point;
    point.Decode(bytes.data());
    EXPECT_EQ(point.GetX(), 1.0);
    EXPECT_EQ(point.GetY(), -2.5);
    EXPECT_EQ(point.GetZ(), 0.1);
    EXPECT_EQ(point.GetIntensity(), 1999.5F);
    EXPECT_EQ(point.GetRed(), 10);
    EXPECT_EQ(point.GetGreen(), 20);
    EXPECT_EQ(point.GetBlue(), 30);
    Bytes again(31);
    point.Encode(again.data());
    EXPECT_EQ(again, bytes);

    const auto point0 = createCL3Point(0);
    point0->Decode(bytes.data());
    EXPECT_EQ(point0->GetSize(), 28U);
    EXPECT_EQ(point0->GetZ(), 0.1);
    EXPECT_EQ(point0->GetRed(), 0);
    EXPECT_EQ(createCL3Point(1)->GetSize(), 31U);
    EXPECT_EQ(createCL3Point(2), nullptr);
}

TEST(PointRecords, ReadWhatAStreamHolds) {
    const TempFolder folder;
    Bytes bytes = fromHex(kRecord1);
    bytes.resize(20);  // ends inside z
    writeFile(folder / "records", bytes);
    const FilePtr file = openFile((folder / "records").c_str(), "rb");
    CL3Point1 point;
    point.SetZ(7);
    point.SetBlue(8);
    point.Read(file.get());
    EXPECT_EQ(point.GetY(), -2.5);
    EXPECT_EQ(point.GetZ(), 7);
    EXPECT_EQ(point.GetBlue(), 8);
}

/// Bytes that a record or header writes after it has read some.
template <class Record>
Bytes throughStreams(const Bytes& bytes) {
    const TempFolder folder;
    writeFile(folder / "in", bytes);
    Record record;
    record.Read(openFile((folder / "in").c_str(), "rb").get());
    record.Write(openFile((folder / "out").c_str(), "wb").get());
    return readFile(folder / "out");
}

TEST(PointRecords, StreamsGetWhatStreamsHeld) {
    const Bytes cl3 = fromHex(kRecord1), withoutColour = cutTo(cl3, 28);
    EXPECT_EQ(throughStreams<CL3Point1>(cl3), cl3);
    EXPECT_EQ(throughStreams<CL3Point0>(withoutColour), withoutColour);
    const Bytes clr = fromHex("01000000 feffffff 03000100 04000002 05060708");
    EXPECT_EQ(throughStreams<CLRPoint>(clr), clr);
    const Bytes block = fromHex("78563412 01");
    EXPECT_EQ(throughStreams<CL3BlockHeader>(block), block);
}

TEST(PointRecords, CL3IsValidUnlessDarkAtTheOrigin) {
    const struct {
        double x, y, z;
        float intensity;
        bool valid;
    } cases[] = {
        {0, 0, 0, 0, false},    {0, 0, 0, 0.5F, true}, {0, 0, 1, -1, true},   {0, 0, 0, -1, false},
        {-0.0, 0, 0, 0, false}, {0, NAN, 0, 0, true},  {0, 0, 0, NAN, false},
    };
    for (const auto& c : cases) {
        CL3Point0 point;
        point.SetX(c.x);
        point.SetY(c.y);
        point.SetZ(c.z);
        point.SetIntensity(c.intensity);
        EXPECT_EQ(point.IsValid(), c.valid) << c.x << c.y << c.z << c.intensity;
    }
}

TEST(PointRecords, CLRLiesOnDiskAsPinned) {
    const Bytes bytes = fromHex("39300000 ffffffff 00000080 efbeadde cf070000");
    CLRPoint point;
    EXPECT_FALSE(point.IsValid());
    point.Decode(bytes.data());
    EXPECT_EQ(point.GetX(), 1.2345);
    EXPECT_EQ(point.GetY(), -0.0001);
    EXPECT_EQ(point.GetZ(), -214748.3648);
    EXPECT_EQ(point.GetIntensity(), 1999.0F);
    Bytes again(20);
    point.Encode(again.data());
    EXPECT_EQ(again, bytes);
    EXPECT_TRUE(CLRPoint(0, 0, 0, 0, 1).IsValid());
    EXPECT_FALSE(CLRPoint(5, 5, 5, 5, 0).IsValid());
    EXPECT_FALSE(CLRPoint(5, 5, 5, 5, -1).IsValid());
}

TEST(PointRecords, CLRAddsAHalfAndCuts) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const struct {
        double metres;
        std::int32_t stored;
    } cases[] = {
        {0, 0},
        {1.23456789, 12346},
        {0.00005, 1},
        {-0.00037, -3},
        {-0.00033, -2},
        {-0.00005, 0},
        {214748.3647, 2147483647},
        {3e5, 2147483647},
        {-3e5, -2147483647 - 1},
        {kInfinity, 2147483647},
        {NAN, 0},
    };
    for (const auto& c : cases) {
        CLRPoint point;
        point.SetX(c.metres);
        EXPECT_EQ(point.GetX(), c.stored / 10000.0) << c.metres;
    }
    CLRPoint point;
    point.SetIntensity(1999.5F);
    EXPECT_EQ(point.GetIntensity(), 2000.0F);
}

}  // namespace
}  // namespace brisko
