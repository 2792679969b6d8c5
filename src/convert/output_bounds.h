#pragma once

#include <cstdint>
#include <string>

namespace brisko {

/// How large a conversion's output may become, before anything is written.
struct OutputBounds {
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;
    std::uint64_t points = 0;  // at most
    bool indexed = false;
};

/// Whether the output fits the free space of its disk, and stands in a proportion to the input (1 GiB
/// and 64 times the input's size at most): a header of a few bytes can claim a grid of any size.
bool mayBeWritten(const OutputBounds& bounds, const std::string& input, const std::string& output);

}  // namespace brisko
