#pragma once

#include "base/output_file.h"
#include "codec/clr_cells.h"
#include "pcplib/processes/process_progress.h"

#include <cstdint>
#include <cstdio>
#include <optional>

/// Copies the blocks of CLR files as they are, exactly as many as a header announces and each in its
/// full size. What a file that ends early lacks becomes empty cells.
namespace QelPcpLib {

/// Where the blocks go.
struct BlockSink {
    brisko::OutputFile& output;
    ProcessProgress& progress;
    std::uint64_t mostBytes;  // the output must not become larger

    bool hasRoomFor(std::uint64_t bytes) const {
        return output.position() <= mostBytes && bytes <= mostBytes - output.position();
    }
    bool good() const { return !output.failed() && hasRoomFor(0); }
};

/// Bytes of a block of plain records, its flag included; nothing when they do not fit into a number.
std::optional<std::uint64_t> plainBlockSize(const brisko::CLRGrid& grid);

/// Returns false when the file cannot be read, or the blocks cannot be written.
bool copyPlainBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink);

/// The same for compressed lines, which are walked piece by piece. Returns false for a piece length
/// that no piece has, too: what follows it cannot be found.
bool copyCompressedBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink);

}  // namespace QelPcpLib
