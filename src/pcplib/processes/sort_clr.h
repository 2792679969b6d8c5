#pragma once

#include "pcplib/files/progress_callback.h"

#include <cstdint>
#include <string>

namespace QelPcpLib {

inline constexpr std::uint16_t kSortClrFailed = 176;

/// Rewrites a CLR scan beside itself, as "<path>.Converted.clr": the same header and blocks, every
/// line as plain records, and with lines that run up and down in turn.
///   callback  null for none
/// Returns: 0, or kSortClrFailed; see ConvertClrFile.
std::uint16_t SortCLR(const std::string& path, CProgressCallback* callback);

/// The work of SortCLR. A scan that ends early gives a copy that ends early, with its last line
/// filled up; a damaged length of compressed lines ends the copy there, with a message.
/// Returns: false when a file cannot be opened, the point format is above 2, a line does not fit into
///          32 bits, or the copy cannot be written; an earlier copy is then as it was. What the
///          callback throws comes out, and leaves no file either.
bool ConvertClrFile(const std::string& path, CProgressCallback* callback = nullptr);

}  // namespace QelPcpLib
