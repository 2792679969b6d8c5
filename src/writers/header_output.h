#pragma once

#include <brisko_codec/file_header.h>

#include "base/output_file.h"

namespace brisko {

/// Writes a scan header at the start of a file, for the first time or again.
inline void writeScanHeader(OutputFile& file, const CLFileHeader& header, std::size_t headerSize) {
    if (!file.isOpen()) return;
    header.Write(file.streamAt(0));
    file.returnStream(headerSize);
}

}  // namespace brisko
