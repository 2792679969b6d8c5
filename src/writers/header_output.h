#pragma once

#include <brisko_codec/file_header.h>

#include "base/output_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace brisko {

/// A resolution as 32 signed bits of a header hold it; a negative one, as headers of files may claim,
/// is a grid without cells.
inline std::uint32_t gridResolution(std::size_t resolution) {
    return static_cast<std::uint32_t>(std::max(static_cast<std::int32_t>(resolution), 0));
}

/// Writes a scan header at the start of a file, for the first time or again.
inline void writeScanHeader(OutputFile& file, const CLFileHeader& header, std::size_t headerSize) {
    if (!file.isOpen()) return;
    header.Write(file.streamAt(0));
    file.returnStream(headerSize);
}

}  // namespace brisko
