#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>

/// The compressed scan lines of CLR point format 2.
///
/// A line is a sequence of pieces; a piece is its length in bytes (unsigned 32-bit little-endian)
/// and a stream of at most 250 points. In the stream every point has a control byte in front, and
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
/// Returns: the bytes used, the control byte behind the last point included. More than the piece's
///          length means that bytes behind it were taken for data.
std::size_t decodePiece(const std::uint8_t* piece, std::size_t count, RawRecord* out);

/// The same for a piece of a known length in front of other bytes: values that it lacks come from
/// zeros, not from what happens to lie behind it.
void decodeWholePiece(const std::uint8_t* piece, std::uint32_t length, std::size_t count,
                      RawRecord* out);

}  // namespace brisko
