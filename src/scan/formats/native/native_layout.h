#pragma once

#include <brisko_codec/file_header.h>

#include "base/bytes.h"
#include "layouts/compressed_lines.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"

#include <cstddef>
#include <cstdint>

/// What the walks through native files need besides the layouts themselves. All sizes are bytes.
namespace brisko::scan {

namespace cl3 {
inline constexpr std::uint64_t kRecordSizes[] = {cl3_record::kSize0,
                                                 cl3_record::kSize1};  // by point format

/// Whether a plain writer left these bytes after a last block that is full: one empty block header.
inline bool isEmptyBlockHeader(const std::uint8_t* bytes, std::uint64_t size) {
    return size == cl3_block::kHeaderSize && loadU32(bytes) == 0 && bytes[cl3_block::kFlag] == 0;
}
}  // namespace cl3

namespace ij {
/// The bytes of one tile; 0 when no index can have tiles of that edge.
inline std::uint64_t tileBytes(std::uint32_t tileSize) {
    return tileSize == 0 || tileSize > kLargestTileSize ? 0 : ijTileBytes(tileSize);
}
}  // namespace ij

namespace clr {
inline constexpr unsigned kCompressed = 2;                            // point format
inline constexpr std::uint64_t kPieceLength = sizeof(std::uint32_t);  // before each piece

using Wide = unsigned __int128;  // a product of three header fields does not overflow it

inline Wide plainBlockSize(const CLRFileHeader& header) {
    return clr_block::kHeaderSize +
           Wide{header.GetAzimuthResolution()} * header.GetZenithResolution() * clr_record::kSize;
}

/// Whether the lines are compressed. A sorted copy keeps the header of compressed lines but holds
/// plain records, which its size shows.
inline bool isCompressed(const CLRFileHeader& header, std::uint64_t fileSize) {
    return header.GetPointFormat() == kCompressed && header.GetAzimuthResolution() > 0 &&
           header.GetZenithResolution() > 0 &&
           clr_header::kSize + header.GetBlockCount() * plainBlockSize(header) != fileSize;
}

/// Whether bytes after the last announced block are damage. A writer may leave a few after plain
/// records, but not as many as another block takes.
inline bool isLeftOver(const CLRFileHeader& header, bool compressed, std::uint64_t bytes) {
    return compressed ? bytes > 0 : bytes >= plainBlockSize(header);
}
}  // namespace clr

}  // namespace brisko::scan
