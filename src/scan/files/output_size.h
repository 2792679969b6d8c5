#pragma once

#include <cstdint>
#include <string>

namespace brisko::scan {

/// Throws ScanError(Damaged) where an output of a grid would take more bytes than its input gives reason
/// to write (base/output_limit.h), ScanError(NotWritten) where the disk has no room for them.
///   leastBytes  what the output takes at least
///   inputBytes  of the input with its companions
void requireReasonableSize(const std::string& input, const std::string& output,
                           unsigned __int128 leastBytes, std::uint64_t inputBytes);

/// What a grid takes at least as an indexed CL3 scan, its points aside: a block header and a part of
/// the index for each of its tiles.
unsigned __int128 leastIndexedBytes(std::uint32_t columns, std::uint32_t rows);

/// The length of a file; 0 where there is none.
std::uint64_t bytesOf(const std::string& path);

}  // namespace brisko::scan
