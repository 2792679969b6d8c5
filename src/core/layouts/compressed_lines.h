#pragma once

#include "base/bytes.h"

#include <brisko_codec/compressed_lines.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

/// The compressed scan lines of CLR point format 2.
///
/// A line is a sequence of pieces; a piece is its length in bytes (unsigned 32-bit little-endian)
/// and a stream of at most 250 points. In the stream every point has a control byte before it, and
/// one more control byte follows the last point. The control byte holds size codes, from the top
/// bit down: x (2 bits), y (2), z (2), fourth (1), intensity (1). Each value follows in code + 1
/// bytes, most significant first, with its sign. The largest code of a field marks an absolute
/// value; smaller ones mark a difference to the previous point of the piece, which starts at 0.
namespace brisko {

inline constexpr std::size_t kPiecePoints = 250;
inline constexpr std::uint32_t kLongestPiece = 5000;  // bytes; longer ones are damage
/// A buffer for pieces: room for a whole piece, and for the loads of the decoder past its end. The
/// longest stream that 250 points can ask for is 4,251 bytes, so decoding never leaves it.
inline constexpr std::size_t kPieceBuffer = kLongestPiece + 8;

/// Decodes a stream of `count` points, at most 250, from a buffer of kPieceBuffer bytes.
/// Returns: the bytes used, the control byte after the last point included. More than the piece's length
///          means that bytes after it were taken for data.
std::size_t decodePiece(const std::uint8_t* piece, std::size_t count, RawRecord* out);

/// Decodes a piece of which the file may hold only the first `size` bytes.
struct CutPiece {
    std::size_t points =
        0;                 // that lie whole within these bytes; the others were decoded from zeros
    std::size_t used = 0;  // as decodePiece answers
};
CutPiece decodeCutPiece(const std::uint8_t* bytes, std::size_t size, std::size_t count,
                        RawRecord* out);

/// Whether a piece held its points and nothing else. The byte after the last point has no meaning, so
/// that a piece without it lost nothing.
///   used  bytes that its points take, that byte included
inline bool isWholePiece(std::uint32_t length, std::size_t used) {
    return used == length || used == length + std::size_t{1};
}

// The one way through the pieces of compressed lines. It says how each piece was found; what to make of
// one that is not sound (end the scan, fill in empty cells, go on, report it) is up to the caller.

inline constexpr std::size_t kPieceLengthSize = sizeof(std::uint32_t);
/// The most bytes of a piece, its length included: what a source has to hold at once.
inline constexpr std::size_t kMostPieceBytes = kPieceLengthSize + kLongestPiece;

/// How a piece was found.
enum class PieceState {
    Sound,
    BadStream,   // its length is possible, but its points take more or fewer bytes
    BadLength,   // no piece is so long: what follows it cannot be found
    CutShort,    // the file ends inside it
    Unreadable,  // it could not be read
};

/// A piece where it lies in its source, up to the source's next change.
struct Piece {
    PieceState state = PieceState::CutShort;
    std::uint64_t offset = 0;  // of its length, in the file
    std::uint32_t length = 0;  // bytes of its stream as the file says; 0 where that is cut
    std::span<const std::uint8_t> bytes;  // what there is of it, from its length on

    /// Whether all of its bytes are there.
    bool isWhole() const { return state == PieceState::Sound || state == PieceState::BadStream; }
    std::span<const std::uint8_t> stream() const {
        return bytes.subspan(std::min(kPieceLengthSize, bytes.size()));
    }
};

/// Looks at the piece at the source's place, which stays. Its stream is not looked into yet: BadStream
/// is no answer of this. The source offers
///   atLeast(n)   the bytes from its place on: at least n, fewer only at the end of the file
///   position()   its place in the file
///   failed()     whether bytes that the file has could not be read
/// and InputWindow is one.
template <class Source>
Piece findPiece(Source& source) {
    Piece piece;
    piece.offset = source.position();
    piece.bytes = source.atLeast(kMostPieceBytes);
    std::size_t size = kPieceLengthSize;
    if (piece.bytes.size() >= size) {
        piece.length = loadU32(piece.bytes.data());
        if (piece.length > kLongestPiece) {
            piece.state = PieceState::BadLength;
            piece.bytes = piece.bytes.first(kPieceLengthSize);
            return piece;
        }
        size += piece.length;
    }
    if (piece.bytes.size() >= size) {
        piece.state = PieceState::Sound;
        piece.bytes = piece.bytes.first(size);
    } else if (source.failed()) {
        piece.state = PieceState::Unreadable;
    }
    return piece;
}

/// Decodes a piece of `count` points, at most 250. A whole one that turns out not to hold them becomes a
/// BadStream. All of out[0] to out[count - 1] are set: what the piece lacks comes from zeros.
/// Returns: how many points lie in it with all of their bytes.
///   slack  bytes that may be read after the stream, whatever they hold: from kPieceBuffer on the piece
///          is decoded where it lies
inline std::size_t decodePiece(Piece& piece, std::size_t count, RawRecord* out, std::size_t slack) {
    const auto stream = piece.stream();
    if (piece.isWhole() && slack >= kPieceBuffer) {
        const std::size_t used = decodePiece(stream.data(), count, out);
        if (isWholePiece(piece.length, used)) return count;
    }
    const CutPiece decoded = decodeCutPiece(stream.data(), stream.size(), count, out);
    if (piece.isWhole() && !isWholePiece(piece.length, decoded.used)) {
        piece.state = PieceState::BadStream;
    }
    return decoded.points;
}

}  // namespace brisko
