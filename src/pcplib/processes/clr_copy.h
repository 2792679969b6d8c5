#pragma once

#include "base/input_window.h"
#include "base/output_file.h"
#include "base/output_limit.h"
#include "codec/clr_cells.h"
#include "pcplib/processes/process_progress.h"

#include <cstdint>
#include <string>

namespace QelPcpLib {

/// A CLR scan on its way into a copy with sorted lines; both files stand after their headers.
struct ClrCopy {
    const std::string& path;  // of the scan
    const CLRFileHeader& header;
    brisko::CLRGrid grid;  // 0 x 0 where the header announces no lines
    brisko::InputWindow& input;
    brisko::OutputFile& output;
    const std::string& outputPath;
    ProcessProgress& progress;

    /// Copies the byte before a block. Returns false at the end of the scan.
    bool copyBlockFlag() {
        const auto flag = input.atLeast(1);
        if (flag.empty()) return false;
        output.append(flag.first(1));
        input.skip(1);
        progress.reach(input.position());
        return true;
    }
    /// Whether the copy still is of a size that the scan can give reason for.
    bool hasRoomFor(std::uint64_t bytes) const {
        const std::uint64_t most = brisko::largestOutputFor(input.fileSize());
        return output.position() <= most && bytes <= most - output.position();
    }
    bool good() const { return !input.failed() && !output.failed() && hasRoomFor(0); }
};

/// The blocks of a scan with plain records. Returns false when a line does not fit into 32 bits, the
/// scan cannot be read or the copy cannot be written.
bool sortPlainBlocks(ClrCopy& copy);

/// The blocks of a scan with compressed lines. Reports on standard output what it does. A piece length
/// that no piece has ends the copy, and is reported. Returns false when the scan cannot be read or the
/// copy cannot be written.
bool sortCompressedBlocks(ClrCopy& copy);

}  // namespace QelPcpLib
