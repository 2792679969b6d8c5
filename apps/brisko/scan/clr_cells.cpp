#include "scan/clr_cells.h"

#include "scan/compressed_piece.h"
#include "scan/native_layout.h"

#include <algorithm>

namespace brisko::tool {
namespace {

constexpr double kUnits = 10000;  // a metre

std::int32_t i32(const std::uint8_t* bytes) {
    return static_cast<std::int32_t>(u32(bytes));
}

}  // namespace

RawRecord decodeCLRRecord(const std::uint8_t* record) {
    return {i32(record), i32(record + 4), i32(record + 8), i32(record + 12), i32(record + 16)};
}

CellPoint pointOf(const RawRecord& record) {
    CellPoint point;
    point.x = record.x / kUnits;
    point.y = record.y / kUnits;
    point.z = record.z / kUnits;
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
    const std::uint32_t size = u32(length);
    if (size > clr::kLongestPiece) {
        piece.state = PieceState::BadLength;
        return;
    }
    const std::uint64_t whole = clr::kPieceLength + size;
    const std::uint64_t there = std::min(whole, stream.left());
    const std::uint8_t* const bytes = stream.take(there);
    piece.bytes.assign(bytes, bytes + there);
    piece.records.resize(points);
    piece.records.resize(decodePieceWithin(bytes + clr::kPieceLength, there - clr::kPieceLength,
                                           points, piece.records.data()));
    if (there < whole) return;
    const bool sound = piece.records.size() == points;
    piece.state = sound ? PieceState::Sound : PieceState::BadStream;
}

const char* pieceProblem(PieceState state) {
    switch (state) {
        case PieceState::BadStream:
            return "the compressed piece ends before its points do";
        case PieceState::BadLength:
            return "the compressed piece has an impossible length";
        case PieceState::CutShort:
            return "the file ends inside a compressed piece";
        case PieceState::Sound:
            break;
    }
    return "sound";
}

}  // namespace brisko::tool
