#pragma once

#include "pcplib/files/alg_header.h"
#include "pcplib/files/cp_stdio_file.h"

namespace QelPcpLib {

/// The text file beside a CL3 scan: its alignment, its intensity range, and the box around the
/// points of every block. Reading takes exponent and fixed-point numbers alike and always expects a
/// decimal point.
class CPtCldAlgFile : public CpStdioFile {
public:
    /// Writes the lines of a header from the start of the file. Always true: see HasFailed.
    bool WriteHeader(const AlgHeader& header);
    /// Reads the lines of a header from the start of the file. Numbers that a line does not hold
    /// keep their values, and so do the intensities and the block size when their lines are missing.
    /// Returns: false when the version is not the known one (which is printed; version then holds
    ///          the line that was read) or a line of the matrix is missing.
    bool ReadHeader(AlgHeader& header);

    /// Writes the two lines of one block. Always true: see HasFailed.
    bool WriteArea(const AlgArea& area);
    /// Reads the two lines of the next block. Returns false when one is missing or blank.
    bool ReadArea(AlgArea& area);

private:
    void writeLine(const std::string& line);
};

}  // namespace QelPcpLib
