#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>

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

}  // namespace brisko
