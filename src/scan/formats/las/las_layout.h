#pragma once

#include "layouts/alignment_matrix.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// The layout of LAS files, 1.0 to 1.4: header, records of variable length, point records. Numbers are
/// little-endian, nothing is aligned.
namespace brisko::scan {

namespace las_header {                              // size  meaning
inline constexpr std::size_t kSignature = 0;        //    4  "LASF"
inline constexpr std::size_t kSourceId = 4;         //    2
inline constexpr std::size_t kEncoding = 6;         //    2  bit 4: coordinate system as WKT
inline constexpr std::size_t kMajor = 24;           //    1  after 16 bytes of a GUID
inline constexpr std::size_t kMinor = 25;           //    1
inline constexpr std::size_t kSystem = 26;          //   32  text, padded with zeros
inline constexpr std::size_t kSoftware = 58;        //   32
inline constexpr std::size_t kDay = 90;             //    2  of the year, from 1
inline constexpr std::size_t kYear = 92;            //    2
inline constexpr std::size_t kHeaderSize = 94;      //    2
inline constexpr std::size_t kPointOffset = 96;     //    4  where the points begin
inline constexpr std::size_t kRecords = 100;        //    4  of variable length
inline constexpr std::size_t kPointFormat = 104;    //    1  bit 7: compressed
inline constexpr std::size_t kPointSize = 105;      //    2  with extra bytes
inline constexpr std::size_t kLegacyCount = 107;    //    4  of points
inline constexpr std::size_t kLegacyReturns = 111;  //   20  5 numbers: points by return
inline constexpr std::size_t kScale = 131;          //   24  x, y, z
inline constexpr std::size_t kOffset = 155;         //   24
inline constexpr std::size_t kBounds = 179;      //   48  max x, min x, max y, min y, max z, min z
inline constexpr std::size_t kSize12 = 227;      //       the header up to 1.2
inline constexpr std::size_t kExtendedAt = 235;  //    8  1.4: where extended records begin
inline constexpr std::size_t kExtended = 243;    //    4  how many
inline constexpr std::size_t kCount = 247;       //    8  of points
inline constexpr std::size_t kReturns = 255;     //  120  15 numbers
inline constexpr std::size_t kSize14 = 375;
inline constexpr std::size_t kTextSize = 32;
}  // namespace las_header

/// What the header says, as it stands in the file.
struct LasHeader {
    std::uint16_t sourceId = 0;
    std::uint16_t encoding = 0;
    std::uint8_t major = 1, minor = 2;
    std::string system, software;  // without padding
    std::uint16_t day = 0, year = 0;
    std::uint16_t headerSize = las_header::kSize12;
    std::uint32_t pointOffset = 0;
    std::uint32_t records = 0;
    std::uint8_t pointFormat = 0;
    std::uint16_t pointSize = 0;
    std::uint32_t legacyCount = 0;
    std::uint64_t count = 0;                     // the one that holds
    std::array<std::uint64_t, 15> returns = {};  // up to 1.3: the first five
    std::array<double, 3> scale = {1, 1, 1}, offset = {}, min = {}, max = {};
    std::uint64_t extendedAt = 0;
    std::uint32_t extended = 0;
};

/// header: at least kSize12 bytes, and kSize14 where it says 1.4 (less: the fields of 1.4 are 0).
LasHeader decodeLasHeader(std::span<const std::uint8_t> header);
/// As many bytes as headerSize says. The old counts are 0 where the standard wants it so.
std::vector<std::uint8_t> encodeLasHeader(const LasHeader& header);

namespace las_point {                          // size  meaning
inline constexpr std::size_t kX = 0;           //    4  signed: x = kX * scale + offset
inline constexpr std::size_t kY = 4;           //    4
inline constexpr std::size_t kZ = 8;           //    4
inline constexpr std::size_t kIntensity = 12;  //    2
inline constexpr std::size_t kReturns =
    14;  //    1  number of the return in the low bits, then of how many
inline constexpr std::size_t kSourceId = 18;   //    2  up to format 5
inline constexpr std::size_t kSourceId6 = 20;  //    2  from format 6 on
}  // namespace las_point

/// A point format: its size, and where its colour stands (three 16-bit numbers; 0: it has none).
struct LasPointFormat {
    std::uint16_t size;
    std::uint16_t colour;
};
inline constexpr LasPointFormat kLasPointFormats[] = {
    {20, 0}, {28, 0},  {26, 20}, {34, 28}, {57, 0},  {63, 28},
    {30, 0}, {36, 30}, {38, 30}, {59, 0},  {67, 30},
};
/// From here on returns have four bits, and the coordinate system is WKT.
inline constexpr std::uint8_t kFirstWideFormat = 6;
inline constexpr std::uint8_t kCompressedBit = 0x80;
inline constexpr std::uint16_t kWktBit = 0x10;

namespace las_record {                           // size  meaning; of the extended one in brackets
inline constexpr std::size_t kUser = 2;          //   16
inline constexpr std::size_t kId = 18;           //    2
inline constexpr std::size_t kLength = 20;       //    2 [8]  of the data that follow
inline constexpr std::size_t kDescription = 22;  //   32 [at 28]
inline constexpr std::size_t kSize = 54;         //
inline constexpr std::size_t kExtendedSize = 60;
inline constexpr std::size_t kUserSize = 16;
}  // namespace las_record

/// The head of a record of variable length.
struct LasRecord {
    std::string user;
    std::uint16_t id = 0;
    std::uint64_t length = 0;
    std::string description;
};
LasRecord decodeLasRecord(const std::uint8_t* in, bool isExtended);
/// The head, not extended, and the data after it.
void appendLasRecord(std::vector<std::uint8_t>& out, const LasRecord& record,
                     std::span<const std::uint8_t> data);

/// A field that follows the format's own ones in every point record.
struct LasField {
    std::string name;
    std::uint8_t type = 0;  // LasType, or 0: bytes of no known kind
    bool isScaled = false;
    std::size_t size = 0;    // bytes
    std::size_t offset = 0;  // in the point record
};
enum LasType : std::uint8_t { kLasU16 = 3, kLasU32 = 5 };
inline constexpr const char* kLasSpecUser = "LASF_Spec";
inline constexpr std::uint16_t kLasExtraBytesId = 4;

/// The fields that a record of extra bytes describes, from `first` to `end` in the point record; none
/// where they would take more.
std::vector<LasField> decodeLasFields(std::span<const std::uint8_t> data, std::size_t first,
                                      std::size_t end);
/// Only names and types of the fields go into the record.
std::vector<std::uint8_t> encodeLasFields(std::span<const LasField> fields);

/// Our own record: what of a scan LAS has no place for.
struct LasScanRecord {
    std::uint32_t columns = 0, rows = 0;  // 0 x 0: no grid
    std::uint32_t bandColumns = 0;        // as ScanInfo has it; 0: any order
    bool wholeIntensities = false;        // from 0 to 2200, before they were scaled
    Matrix matrix = kIdentityMatrix;      // that aligned the points; identity: none
    std::string name;                     // of the station
};
inline constexpr const char* kLasScanUser = "brisko";
inline constexpr std::uint16_t kLasScanId = 1;
/// Nothing where it is no such record, or one of a later version.
std::optional<LasScanRecord> decodeLasScan(std::span<const std::uint8_t> data);
std::vector<std::uint8_t> encodeLasScan(const LasScanRecord& record);

}  // namespace brisko::scan
