#include "scan/formats/native/clr_cells.h"

#include "layouts/clr_record.h"
#include "layouts/compressed_lines.h"
#include "scan/formats/native/native_layout.h"

#include <algorithm>

namespace brisko::scan {
CellPoint pointOf(const RawRecord& record) {
    CellPoint point;
    point.x = toMetres(record.x);
    point.y = toMetres(record.y);
    point.z = toMetres(record.z);
    point.intensity = static_cast<float>(record.intensity);
    return point;
}

void readPiece(ByteStream& stream, std::size_t points, Piece& piece) {
    piece.offset = stream.offset();
    piece.bytes.clear();
    piece.records.clear();
    piece.state = PieceState::CutShort;
    const std::uint8_t* const length = stream.peek(clr::kPieceLength);
    if (!length) return;
    const std::uint32_t size = loadU32(length);
    if (size > kLongestPiece) {
        piece.state = PieceState::BadLength;
        return;
    }
    const std::uint64_t whole = clr::kPieceLength + size;
    const std::uint64_t there = std::min(whole, stream.left());
    const std::uint8_t* const bytes = stream.take(there);
    piece.bytes.assign(bytes, bytes + there);
    piece.records.resize(points);
    const CutPiece decoded = decodeCutPiece(bytes + clr::kPieceLength, there - clr::kPieceLength,
                                            points, piece.records.data());
    piece.records.resize(decoded.points);
    if (there < whole) return;
    piece.state = isWholePiece(size, decoded.used) ? PieceState::Sound : PieceState::BadStream;
}

const char* pieceProblem(PieceState state) {
    switch (state) {
        case PieceState::BadStream:
            return "the compressed piece is not as long as its points are";
        case PieceState::BadLength:
            return "the compressed piece has an impossible length";
        case PieceState::CutShort:
            return "the file ends inside a compressed piece";
        case PieceState::Sound:
            break;
    }
    return "sound";
}

}  // namespace brisko::scan
