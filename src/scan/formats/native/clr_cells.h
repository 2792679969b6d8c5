#pragma once

#include "scan/files/byte_stream.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/compressed_lines.h>

#include <cstdint>
#include <vector>

namespace brisko::scan {

/// The point of a record, metres; column and row stay 0.
CellPoint pointOf(const RawRecord& record);

/// How a piece of a compressed line was found.
enum class PieceState {
    Sound,
    BadStream,  // its length is possible, what stands in it is not
    BadLength,  // nothing behind it can be found
    CutShort,   // the file ends inside it
};

/// A piece of a compressed line.
struct Piece {
    PieceState state = PieceState::Sound;
    std::uint64_t offset = 0;         // of its length
    std::vector<std::uint8_t> bytes;  // its length and its stream
    std::vector<RawRecord> records;   // of a sound one, or as far as the file goes
};

/// Reads the next piece, of so many points, and stands behind it if its length is possible.
void readPiece(ByteStream& stream, std::size_t points, Piece& piece);

/// What is wrong with a piece that is not sound.
const char* pieceProblem(PieceState state);

}  // namespace brisko::scan
