#include <brisko_codec/block_header.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include "base/file.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace brisko {
namespace {

using namespace test;

void fillCommon(CLFileHeader& header) {
    header.SetFileVersion("CL3_0.7");
    header.SetModelName("RVX1000");
    header.SetHardwareVersion("HW01");
    header.SetFirmwareVersion("F2");
    header.SetSerialNumber("SN-123456789");
    header.SetDate("20240229");
    header.SetTime("235958");
    header.SetTemperature(21.5F);       // 41 ac 00 00
    header.SetPressure(1013.25F);       // 44 7d 50 00
    header.SetStartAzimuthAngle(1.0F);  // 3f 80 00 00
    header.SetStopAzimuthAngle(2.0F);   // 40 00 00 00
    header.SetStartZenithAngle(3.0F);   // 40 40 00 00
    header.SetStopZenithAngle(4.0F);    // 40 80 00 00
    header.SetPointFormat(1);
    header.SetBlockCount(0x01020304);
}

// The texts, written down from the ASCII table.
const char* const kTexts =
    "434c335f302e37 00000000000000000000000000000000000000000000000000"  // CL3_0.7
    "52565831303030 0000000000"                                          // RVX1000
    "48573031 46320000"                                                  // HW01, F2
    "534e2d313233343536373839"                                           // SN-123456789
    "3230323430323239 323335393538";
// Temperature, pressure, start azimuth, start zenith, stop azimuth, stop zenith.
const char* const kConditions = "0000ac41 00507d44 0000803f 00004040 00000040 00008040";

Bytes written(const CLFileHeader& header, const TempFolder& folder) {
    const std::string path = folder / "header";
    const FilePtr file = openFile(path.c_str(), "wb");
    header.Write(file.get());
    std::fflush(file.get());
    return readFile(path);
}

TEST(ScanHeader, CL3LiesOnDiskAsPinned) {
    const TempFolder folder;
    CL3FileHeader header;
    fillCommon(header);
    header.SetDeltaAzimuthAngle(0.5F);
    header.SetDeltaZenithAngle(0.25F);
    const Bytes bytes = written(header, folder);
    EXPECT_EQ(bytes.size(), 115U);
    EXPECT_EQ(bytes, fromHex(std::string(kTexts) + kConditions + "0000003f 0000803e 04030201 01"));
}

TEST(ScanHeader, CLRLiesOnDiskAsPinned) {
    const TempFolder folder;
    CLRFileHeader header;
    fillCommon(header);
    header.SetAzimuthResolution(-2);
    header.SetZenithResolution(0x0A0B0C0D);
    const Bytes bytes = written(header, folder);
    EXPECT_EQ(bytes.size(), 120U);
    EXPECT_EQ(bytes, fromHex(std::string(kTexts) + "0000" + kConditions +
                             "feffffff 0d0c0b0a 01000000 04030201"));
}

template <class Header>
class ScanHeaderOf : public testing::Test {};
using BothHeaders = testing::Types<CL3FileHeader, CLRFileHeader>;
TYPED_TEST_SUITE(ScanHeaderOf, BothHeaders);

TYPED_TEST(ScanHeaderOf, NothingAfterItIsRead) {
    const TempFolder folder;
    TypeParam header;
    fillCommon(header);
    writeFile(folder / "longer", ByteWriter().bytes(written(header, folder)).u8(0x77));
    const FilePtr file = openFile((folder / "longer").c_str(), "rb");
    header = TypeParam();
    std::fputc(0, file.get());  // an error from before stops nothing
    header.Read(file.get());
    EXPECT_EQ(header.GetModelName()[0], 'R');
    EXPECT_EQ(std::fgetc(file.get()), 0x77);
}

// Reads a header that is cut anywhere over one whose bytes are all 0x5A.
TYPED_TEST(ScanHeaderOf, AFieldThatIsNotWholeKeepsItsValue) {
    const TempFolder folder;
    TypeParam header;
    fillCommon(header);
    const Bytes whole = written(header, folder);
    std::vector<std::size_t> ends = {0, 32, 44, 48, 52, 64, 72, 78};  // of the fields
    if (whole.size() == 120) ends.push_back(80);                      // two bytes of no meaning
    for (std::size_t end = ends.back() + 4; end <= whole.size(); end += 4)
        ends.push_back(end);
    if (whole.size() == 115) ends.push_back(115);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        writeFile(folder / "before", Bytes(whole.size(), 0x5A));
        writeFile(folder / "cut", cutTo(whole, size));
        TypeParam cut;
        ASSERT_TRUE(cut.Read((folder / "before").c_str()));
        Bytes expected = written(cut, folder);
        ASSERT_TRUE(cut.Read((folder / "cut").c_str()));
        std::copy_n(whole.begin(), *std::prev(std::upper_bound(ends.begin(), ends.end(), size)),
                    expected.begin());
        EXPECT_EQ(written(cut, folder), expected) << size;
    }
}

TEST(ScanHeader, TextFieldsHaveAFixedWidth) {
    CL3FileHeader header;
    header.SetModelName("RVX1000");
    header.SetModelName(std::string("cut\0off", 7));  // what was there is no part of it
    EXPECT_EQ(header.GetModelName(), std::string("cut\0\0\0\0\0\0\0\0\0", 12));
    header.SetFileVersion(std::string(40, 'v'));
    EXPECT_EQ(header.GetFileVersion(), std::string(32, 'v'));
}

TEST(ScanHeader, CLRKeepsTheLowestByteOfThePointFormat) {
    const TempFolder folder;
    writeFile(folder / "scan.clr", clrHeader(3, 2, 0x102, 1));
    CLRFileHeader header;
    ASSERT_TRUE(header.Read((folder / "scan.clr").c_str()));
    EXPECT_EQ(header.GetPointFormat(), 2);
    EXPECT_FALSE(header.Read((folder / "missing.clr").c_str()));
    EXPECT_EQ(header.GetPointFormat(), 2);
}

TEST(ScanHeader, DerivesResolutionsAndSteps) {
    struct Access : CL3FileHeader {
        using CLFileHeader::CalculateDeltaAngle;
        using CLFileHeader::CalculateResolution;
    };
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const struct {
        float start, stop, step;
        int resolution;
    } cases[] = {
        {0, 360, 0.5F, 720},  {360, 0, 0.5F, 720}, {0, 1, 0.4F, 3},  // 2.5 rounds up
        {0, 1, 0, 0},         {0, 0, 0, 0},        {0, 1, NAN, 0},  {0, 1, 1e-20F, 2147483647},
        {kInfinity, 0, 1, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Access::CalculateResolution(c.start, c.stop, c.step), c.resolution);
    EXPECT_EQ(Access::CalculateDeltaAngle(10, 0, 4), 2.5F);
    EXPECT_EQ(Access::CalculateDeltaAngle(10, 0, 0), kInfinity);

    CLRFileHeader header;
    header.SetAzimuthResolution(-1);
    EXPECT_EQ(header.GetAzimuthResolution(), static_cast<std::size_t>(-1));
}

TEST(BlockHeader, CL3CountsAndCLRDerives) {
    const TempFolder folder;
    writeFile(folder / "block", fromHex("05000000 09"));
    const FilePtr file = openFile((folder / "block").c_str(), "rb");
    CL3BlockHeader block;
    block.Read(file.get());
    EXPECT_EQ(block.GetPointCount(), 5U);
    EXPECT_EQ(block.GetFlag(), 9);
    std::istringstream stream("\x03rest");
    block.Read(stream);  // deliberately the flag alone
    EXPECT_EQ(block.GetPointCount(), 5U);
    EXPECT_EQ(block.GetFlag(), 3);

    const struct {
        int columns, rows;
        std::uint32_t count;
    } cases[] = {{3, 2, 6}, {0, 5, 0}, {-3, 2, 0}, {-3, -2, 0}, {65536, 65536, 0xFFFFFFFF}};
    for (const auto& c : cases) {
        CLRFileHeader header;
        header.SetAzimuthResolution(c.columns);
        header.SetZenithResolution(c.rows);
        EXPECT_EQ(CLRBlockHeader().GetPointCount(&header), c.count);
    }
    EXPECT_EQ(CLRBlockHeader().GetPointCount(), 0U);
}

TEST(Formats, WithoutAFileNothingIsReadOrWritten) {
    const auto readAndWrite = [](auto&... records) {
        std::FILE* const none = nullptr;
        (records.Read(none), ...);
        (records.Write(none), ...);
    };
    CL3FileHeader header;
    header.SetBlockCount(7);
    CL3BlockHeader block;
    CL3Point1 coloured;
    CLRPoint raw;
    readAndWrite(header, block, coloured, raw);
    EXPECT_EQ(header.GetBlockCount(), 7U);
    EXPECT_EQ(block.GetPointCount(), 0U);
}

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
    } cases[] = {{0, 0},
                 {1.23456789, 12346},
                 {0.00005, 1},
                 {-0.00037, -3},
                 {-0.00033, -2},
                 {-0.00005, 0},
                 {214748.3647, 2147483647},
                 {3e5, 2147483647},
                 {-3e5, -2147483647 - 1},
                 {kInfinity, 2147483647},
                 {NAN, 0}};
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
