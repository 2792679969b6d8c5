#pragma once

#include <cstddef>
#include <cstdint>

/// Sizes and offsets in the two native scan formats, in bytes; numbers are little-endian.
namespace brisko {

/// The point formats of CL3 files: what a record holds.
enum class CL3PointFormat : std::uint8_t {
    Plain = 0,     // position and intensity
    Coloured = 1,  // and a colour; what is written
};
constexpr bool isKnown(CL3PointFormat format) {
    return format <= CL3PointFormat::Coloured;
}
/// The point formats of CLR files: how the cells of a block are stored.
enum class CLRPointFormat : std::uint8_t {
    Plain0 = 0,      // as Plain
    Plain = 1,       // records; lines run up and down in turn; what is written
    Compressed = 2,  // compressed lines, up and down in turn
    OneWay = 3,      // records; all lines run the same way
};
constexpr bool isKnown(CLRPointFormat format) {
    return format <= CLRPointFormat::OneWay;
}

namespace cl3_header {
inline constexpr std::size_t kSize = 115;
}
namespace clr_header {
inline constexpr std::size_t kBlockCount = 116;  // unsigned, 4 bytes; the last field
inline constexpr std::size_t kSize = 120;
}  // namespace clr_header

namespace cl3_block {                          // size  meaning
inline constexpr std::size_t kPointCount = 0;  //    4  records that follow, unsigned
inline constexpr std::size_t kFlag = 4;        //    1  written as 0, not looked at
inline constexpr std::size_t kHeaderSize = 5;
}  // namespace cl3_block

namespace clr_block {
inline constexpr std::size_t kHeaderSize = 1;  // the flag alone
}

namespace cl3_record {                         // size  meaning
inline constexpr std::size_t kX = 0;           //    8  double, metres
inline constexpr std::size_t kY = 8;           //    8
inline constexpr std::size_t kZ = 16;          //    8
inline constexpr std::size_t kIntensity = 24;  //    4  float, 0 to 2200
inline constexpr std::size_t kSize0 = 28;      //       a record of point format 0 ends here
inline constexpr std::size_t kRed = 28;        //    1
inline constexpr std::size_t kGreen = 29;      //    1
inline constexpr std::size_t kBlue = 30;       //    1
inline constexpr std::size_t kSize1 = 31;      //       point format 1
}  // namespace cl3_record
constexpr std::size_t recordSizeOf(CL3PointFormat format) {
    return format == CL3PointFormat::Plain ? cl3_record::kSize0 : cl3_record::kSize1;
}

namespace clr_record {                         // size  meaning
inline constexpr std::size_t kX = 0;           //    4  signed, 1/10000 m
inline constexpr std::size_t kY = 4;           //    4
inline constexpr std::size_t kZ = 8;           //    4
inline constexpr std::size_t kFourth = 12;     //    4  carried along, not interpreted
inline constexpr std::size_t kIntensity = 16;  //    4  signed; above 0 where a point was measured
inline constexpr std::size_t kSize = 20;
}  // namespace clr_record

}  // namespace brisko
