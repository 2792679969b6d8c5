#pragma once

#include <brisko_codec/file_header.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Where things stand in native files; docs/formats tells the whole of it. All sizes are bytes.
namespace brisko::tool {

inline std::uint32_t u32(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

namespace cl3 {
inline constexpr std::uint64_t kHeader = 115;
inline constexpr std::uint64_t kBlockHeader = 5;           // point count (4), flag (1)
inline constexpr std::uint64_t kRecordSizes[] = {28, 31};  // by point format
}  // namespace cl3

namespace ij {
inline constexpr std::uint64_t kHeader = 48;  // tag (32), tiles, columns, rows, tile size (4 each)
inline constexpr std::uint64_t kTileHeader = 12;  // column tile, row tile, point count (4 each)
inline constexpr std::uint64_t kEntry = 4;

/// The bytes of one tile; 0 when its edge makes no sense.
inline std::uint64_t tileBytes(std::uint32_t tileSize) {
    constexpr std::uint32_t kLargest = 1 << 16;  // beyond it, entry numbers would not fit
    if (tileSize == 0 || tileSize > kLargest) return 0;
    return kTileHeader + kEntry * tileSize * tileSize;
}

inline std::uint64_t tilesAlong(std::uint32_t cells, std::uint32_t tileSize) {
    return (std::uint64_t{cells} + tileSize - 1) / tileSize;
}
}  // namespace ij

namespace clr {
inline constexpr std::uint64_t kHeader = 120;
inline constexpr std::uint64_t kBlockFlag = 1;
inline constexpr std::uint64_t kRecord = 20;
inline constexpr unsigned kCompressed = 2;        // point format
inline constexpr std::uint64_t kPieceLength = 4;  // in front of each piece of a compressed line
inline constexpr std::uint64_t kPiecePoints = 250;
inline constexpr std::uint32_t kLongestPiece = 5000;

using Wide = unsigned __int128;  // a product of three header fields does not overflow it

inline Wide plainBlockSize(const CLRFileHeader& header) {
    return kBlockFlag +
           Wide{header.GetAzimuthResolution()} * header.GetZenithResolution() * kRecord;
}

/// Whether the lines are compressed. A sorted copy keeps the header of compressed lines but holds
/// plain records, which its size tells.
inline bool isCompressed(const CLRFileHeader& header, std::uint64_t fileSize) {
    return header.GetPointFormat() == kCompressed && header.GetAzimuthResolution() > 0 &&
           header.GetZenithResolution() > 0 &&
           kHeader + header.GetBlockCount() * plainBlockSize(header) != fileSize;
}
}  // namespace clr

}  // namespace brisko::tool
