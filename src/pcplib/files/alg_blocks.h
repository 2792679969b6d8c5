#pragma once

#include "pcplib/files/alg_header.h"

#include <cstddef>
#include <string>
#include <vector>

namespace QelPcpLib {

/// The records that the library keeps of the blocks of a CL3 file, whether it reads or writes that
/// file, and their way to and from the ALG file beside it.
class AlgBlocks {
public:
    AlgHeader header;
    std::vector<AlgArea> areas;  // one for each block
    /// The number of blocks that the ALG file is taken to describe. Set it before reading: the areas
    /// are read only where it equals their number. Writing sets it to that number.
    std::size_t blockCount = 0;

    /// Reads header and areas. Prints and returns false when the file cannot be opened; false when
    /// its header or an area is missing, with the areas in front of that one already filled in.
    ///   path  UTF-8; empty: the file of the last call
    bool ReadALGFile(std::string path = {});

    /// Writes header and areas into a new file. Prints and returns false when the file cannot be
    /// created. Deliberate: true although bytes were lost; HasWriteError tells.
    ///   path  UTF-8; empty: the file of the last call
    bool WriteALGFile(std::string path = {});

    /// Whether the last WriteALGFile left an incomplete file.
    bool HasWriteError() const { return m_writeError; }
    /// The file of the last call.
    const std::string& GetALGFilePath() const { return m_path; }

private:
    std::string m_path;
    bool m_writeError = false;
};

}  // namespace QelPcpLib
