#pragma once

#include "pcplib/files/progress_callback.h"

#include <cstdint>
#include <string>

namespace QelPcpLib {

inline constexpr std::uint16_t kMergeClrFailed = 1;

/// Merges two CLR files of a series into a third: the blocks of the second follow those of the first,
/// under the first one's header. Exactly the blocks that the headers announce are copied: bytes
/// after them are left out, and what a cut file lacks becomes empty cells, so that every block
/// stays in its place.
///   output    may replace an earlier file, but not one of the two
///   callback  null for none; what it throws comes out
/// Returns: 0, or kMergeClrFailed: files that cannot be opened or written, different resolutions or
///          point formats, headers that announce more than their files give reason for, damaged
///          compressed lines. The output is then as it was.
std::uint16_t CombineMultiCLR(const std::string& first, const std::string& second,
                              const std::string& output, CProgressCallback* callback);

}  // namespace QelPcpLib
