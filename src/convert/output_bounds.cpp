#include "convert/output_bounds.h"

#include "base/checked.h"
#include "base/file.h"
#include "formats/layout.h"
#include "writers/ij_index.h"

#include <algorithm>
#include <optional>

namespace brisko {

namespace {

/// Bytes of the output and its index; nothing when they pass all numbers.
std::optional<std::uint64_t> outputBytes(const OutputBounds& bounds) {
    const std::uint64_t tiles = bounds.indexed ? divideRoundingUp(bounds.columns, kTileSize) *
                                                     divideRoundingUp(bounds.rows, kTileSize)
                                               : 0;
    const auto tileBytes = checkedMultiply(tiles, ijTileBytes(kTileSize) + cl3_block::kHeaderSize);
    const auto pointBytes = checkedMultiply(bounds.points, cl3_record::kSize1);
    return tileBytes && pointBytes ? checkedAdd(*tileBytes, *pointBytes) : std::nullopt;
}

}  // namespace

bool mayBeWritten(const OutputBounds& bounds, const std::string& input, const std::string& output) {
    constexpr std::uint64_t kAlways = std::uint64_t{1} << 30;
    constexpr std::uint64_t kTimesInput = 64;
    const auto bytes = outputBytes(bounds);
    if (!bytes) return false;
    const auto allowance = checkedMultiply(fileLength(input.c_str()), kTimesInput);
    const bool inProportion = !allowance || *bytes <= kAlways || *bytes - kAlways <= *allowance;
    return inProportion && *bytes <= freeSpaceFor(output);
}

}  // namespace brisko
