#pragma once

#include <cstdint>
#include <string>

namespace brisko {

/// The most bytes that an input can give reason to write: counts in a header that ask for more are
/// damage, or meant to fill the disk.
constexpr std::uint64_t largestOutputFor(std::uint64_t inputBytes) {
    constexpr std::uint64_t kAlways = std::uint64_t{1} << 30;
    constexpr std::uint64_t kFactor = 64;
    constexpr std::uint64_t kMost = ~std::uint64_t{0};
    return inputBytes > (kMost - kAlways) / kFactor ? kMost : kAlways + kFactor * inputBytes;
}

/// Whether so many bytes may and can be written at a path for an input of that size.
bool isOutputReasonable(std::uint64_t outputBytes, std::uint64_t inputBytes,
                        const std::string& path);

/// How large a scan that is about to be written may become at most.
struct OutputBounds {
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;
    std::uint64_t points = 0;
    bool indexed = false;  // with a grid index
};

/// Whether the scan fits the free space of its disk, and stands in a proportion to its input (1 GiB and
/// 64 times the input's size at most): a header of a few bytes can claim a grid of any size.
///   inputBytes  of all files that the points and their cells come from, a grid index included
bool mayBeWritten(const OutputBounds& bounds, std::uint64_t inputBytes, const std::string& output);

}  // namespace brisko
