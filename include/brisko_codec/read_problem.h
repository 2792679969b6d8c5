#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/export.h>

#include <cstdint>
#include <string>

namespace brisko {

/// Why the points of a pass are not all that the scan holds, or not what was measured.
enum class ReadProblemKind {
    None,
    Unreadable,  // a file is there and cannot be read, or memory ran out
    CutShort,   // a file ends before what it announces; the last records come again, or are missing
    LeftOver,   // a file goes on after what it announces
    BadHeader,  // the header describes nothing that can be read
    BadIndex,   // the grid index does not belong to the scan, or its entries are not 1, 2, 3 ...
    BadPiece,   // a compressed piece does not hold the points of its part of the line
};

/// The first problem that a reader met.
struct ReadProblem {
    ReadProblemKind kind = ReadProblemKind::None;
    std::string file;          // the scan or its index, UTF-8
    std::uint64_t offset = 0;  // bytes from the start of that file; near the damage where the exact
                               // place is not known
    std::string text;          // what is wrong, in English; does not name file and offset

    explicit operator bool() const { return kind != ReadProblemKind::None; }
};

/// What is wrong with the scan that a reader of this library has open, as far as the pass has come.
/// The reading calls answer a damaged scan as they always have: with the points that can be had, and
/// false at their end. This is how a caller finds out whether those are all of them.
///
/// Ask after a reading call answered false. Before that, points that were delivered may already be
/// wrong without the problem being known: damage to a tile of the index is found at its end.
/// Wrappers (skip codecs, colour codecs) ask the reader that they wrap. A codec that is not this
/// library's has no problem that could be known.
BRISKO_CODEC_EXPORT ReadProblem getReadProblem(const BriskoCodec& codec);

}  // namespace brisko
