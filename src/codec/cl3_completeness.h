#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace brisko {

/// Follows the block headers of a CL3 file, and counts the records of all blocks. Nothing when it cannot be opened, its point format is
/// none, or it is shorter than its blocks: readers go on with stale bytes then, which a conversion
/// must not copy.
std::optional<std::uint64_t> findCompleteCL3(const std::string& path);

/// Whether an index holds all the tiles that its header speaks of, and can be walked.
bool isCompleteIndex(const std::string& path);

}  // namespace brisko
