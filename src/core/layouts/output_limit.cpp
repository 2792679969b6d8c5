#include "layouts/output_limit.h"

#include "base/checked.h"
#include "base/file.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"

#include <optional>

namespace brisko {

bool isOutputReasonable(std::uint64_t outputBytes, std::uint64_t inputBytes,
                        const std::string& path) {
    return outputBytes <= largestOutputFor(inputBytes) && outputBytes <= freeSpaceBeside(path);
}

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

bool mayBeWritten(const OutputBounds& bounds, std::uint64_t inputBytes, const std::string& output) {
    const auto bytes = outputBytes(bounds);
    return bytes && isOutputReasonable(*bytes, inputBytes, output);
}

}  // namespace brisko
