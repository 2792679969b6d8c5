#pragma once

#include <brisko_codec/export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko {

/// The five values of a CLR record, in file order.
struct RawRecord {
    std::int32_t x = 0, y = 0, z = 0;  // 1/10000 m
    std::int32_t fourth = 0;
    std::int32_t intensity = 0;  // above 0 where a point was measured
};

/// Codes a scan line as CLR point format 2 stores it: pieces of at most 250 points, each with its
/// length before it. Appends to the bytes given.
///   fourth and intensity values beyond 16 bits cannot be coded and are cut to the nearest that can
BRISKO_CODEC_EXPORT void encodeCompressedLine(const RawRecord* line, std::size_t count,
                                              std::vector<std::uint8_t>& bytes);

}  // namespace brisko
