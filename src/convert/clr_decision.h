#pragma once

#include <cstdint>
#include <string>

namespace brisko {

/// What becomes of a CLR scan.
enum class ClrRoute {
    Nothing,           // no output; true
    OnePass,           // straight to the indexed scan
    OnePassUnjudged,   // the same, with true whatever comes of it
    OnePassByPoints,   // the same under the label of the plain conversion
    ThroughCL3,        // to the plain scan, and from that to the indexed one
    SortedThroughCL3,  // the same, with a sorted copy of the input made first
};

/// The route by scanner model, point format and number of blocks.
///   modelName  as the header has it; its first seven characters count
ClrRoute chooseRoute(const std::string& modelName, std::uint8_t pointFormat,
                     std::uint32_t blockCount);

}  // namespace brisko
