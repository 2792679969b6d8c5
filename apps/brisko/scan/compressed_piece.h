#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>

namespace brisko::tool {

/// Decodes a piece of a compressed line (docs/formats/clr.md) and stays inside its bytes.
///   out  room for `count` records
/// Returns: false when the bytes end before the last record does.
bool decodePieceWithin(const std::uint8_t* bytes, std::size_t size, std::size_t count,
                       RawRecord* out);

}  // namespace brisko::tool
