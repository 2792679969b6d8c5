#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace brisko {

/// What a CL3 file holds when nothing of it is missing.
struct CL3Contents {
    std::uint8_t pointFormat = 0;
    std::uint32_t blockCount = 0;
    std::uint64_t records = 0;  // in all blocks
};

/// Follows the block headers of a CL3 file. Nothing when it cannot be opened, its point format is
/// none, or it is shorter than its blocks: readers go on with stale bytes then, which a conversion
/// must not copy.
std::optional<CL3Contents> findCompleteCL3(const std::string& path);

/// Whether an index holds all the tiles that its header speaks of, and can be walked.
bool isCompleteIndex(const std::string& path);

}  // namespace brisko
