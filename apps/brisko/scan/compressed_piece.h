#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>

namespace brisko::tool {

/// Decodes a piece of a compressed line (docs/formats/clr.md) and stays inside its bytes.
///   out  room for `count` records
/// Returns: how many records were decoded; fewer when the bytes end before.
std::size_t decodePieceWithin(const std::uint8_t* bytes, std::size_t size, std::size_t count,
                              RawRecord* out);

}  // namespace brisko::tool
