#pragma once

#include "base/bytes.h"
#include "layouts/compressed_lines.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"
#include "scan/files/input_file.h"

#include <brisko_codec/file_header.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// What the walks through native files need besides the layouts themselves. All sizes are bytes.
namespace brisko::scan {

namespace cl3 {
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

inline CL3PointFormat formatOf(const CL3FileHeader& header) {
    return CL3PointFormat{header.GetPointFormat()};
}
inline CLRPointFormat formatOf(const CLRFileHeader& header) {
    return CLRPointFormat{header.GetPointFormat()};
}

namespace clr {
using Wide = unsigned __int128;  // a product of three header fields does not overflow it

inline Wide plainBlockSize(const CLRFileHeader& header) {
    return clr_block::kHeaderSize +
           Wide{header.GetAzimuthResolution()} * header.GetZenithResolution() * clr_record::kSize;
}

/// Whether the lines are compressed. A sorted copy keeps the header of compressed lines but holds
/// plain records, which its size shows.
inline bool isCompressed(const CLRFileHeader& header, std::uint64_t fileSize) {
    return formatOf(header) == CLRPointFormat::Compressed && header.GetAzimuthResolution() > 0 &&
           header.GetZenithResolution() > 0 &&
           clr_header::kSize + header.GetBlockCount() * plainBlockSize(header) != fileSize;
}

/// Whether bytes after the last announced block are damage. A writer may leave a few after plain
/// records, but not as many as another block takes.
inline bool isLeftOver(const CLRFileHeader& header, bool compressed, std::uint64_t bytes) {
    return compressed ? bytes > 0 : bytes >= plainBlockSize(header);
}

/// Takes the next piece of a compressed line. The stream is then after what there is of it; where no
/// piece can be that long, or the file ends inside its length, the stream stays.
///   records  of a whole piece all of its points, of a cut one those that the file still holds
inline Piece takePiece(ByteStream& stream, std::size_t points, std::vector<RawRecord>& records) {
    records.clear();
    Piece piece = findPiece(stream);
    if (piece.state == PieceState::BadLength || piece.bytes.size() < kPieceLengthSize) return piece;
    records.resize(points);
    records.resize(decodePiece(piece, points, records.data(), ByteStream::kSlack));
    stream.seek(piece.offset + piece.bytes.size());
    return piece;
}

/// What is wrong with a piece that is not sound.
inline const char* pieceProblem(PieceState state) {
    switch (state) {
        case PieceState::BadStream:
            return "the compressed piece is not as long as its points are";
        case PieceState::BadLength:
            return "the compressed piece has an impossible length";
        case PieceState::CutShort:
            return "the file ends inside a compressed piece";
        case PieceState::Unreadable:  // a ByteStream has thrown by then
        case PieceState::Sound:
            break;
    }
    return "sound";
}
}  // namespace clr

}  // namespace brisko::scan
