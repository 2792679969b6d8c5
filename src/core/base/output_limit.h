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

}  // namespace brisko
