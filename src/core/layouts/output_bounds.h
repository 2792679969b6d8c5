#pragma once

#include <cstdint>
#include <string>

namespace brisko {

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
