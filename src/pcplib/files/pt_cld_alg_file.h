#pragma once

#include "layouts/alg_text.h"
#include "pcplib/files/pcp_file.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace QelPcpLib {

using brisko::AlgArea;
using brisko::AlgHeader;
using brisko::kAlgVersion;

/// The text file beside a CL3 scan: its alignment, its intensity range, and the box around the
/// points of every block. Reading takes exponent and fixed-point numbers alike and always expects a
/// decimal point.
class CPtCldAlgFile : public CpStdioFile {
public:
    /// Writes the lines of a header from the start of the file. Always true: see HasFailed.
    bool WriteHeader(const AlgHeader& header);
    /// Reads the lines of a header from the start of the file, as brisko::decodeAlgHeader does.
    /// Returns: false when the version is not the known one (which is printed) or a line of the matrix
    ///          is missing.
    bool ReadHeader(AlgHeader& header);

    /// Writes the two lines of one block. Always true: see HasFailed.
    bool WriteArea(const AlgArea& area);
    /// Reads the two lines of the next block. Returns false when one is missing or blank.
    bool ReadArea(AlgArea& area);

private:
    void writeText(const std::string& text);
};

/// The records that the library keeps of the blocks of a CL3 file, whether it reads or writes that
/// file, and their way to and from the ALG file beside it. Kept for its interface: conversions take the
/// alignment from the reader of the scan.
class AlgBlocks {
public:
    AlgHeader header;
    std::vector<AlgArea> areas;  // one for each block
    /// The number of blocks that the ALG file is taken to describe. Set it before reading: the areas
    /// are read only where it equals their number. Writing sets it to that number.
    std::size_t blockCount = 0;

    /// Reads header and areas. Prints and returns false when the file cannot be opened; false when
    /// its header or an area is missing, with the areas before that one already filled in.
    ///   path  UTF-8; empty: the file of the last call
    bool ReadALGFile(std::string path = {});

    /// Writes header and areas into a new file. Prints and returns false when the file cannot be
    /// created. Deliberate: true although bytes were lost; HasWriteError shows that.
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

/// The name of a file that belongs to a CL3 file: beside it, with the same title, and with the
/// number of the part where a scan is kept in several. Kept for its interface.
///   extension  with its dot: ".alg", ".ij", ".ix"
///   part       from 2 on it shows in the name: "scan_2.alg"; 1 and less give "scan.alg"
std::string partFileName(std::string_view path, std::string_view extension, int part);

}  // namespace QelPcpLib
