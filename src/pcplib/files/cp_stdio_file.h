#pragma once

#include "pcplib/files/pcp_file.h"

#include <cstddef>
#include <string>

namespace QelPcpLib {

/// A text file, line by line.
class CpStdioFile : public PcpFile {
public:
    static constexpr std::size_t kMaxLine = 4096;  // characters of a line; the rest is passed over

    /// Reads one line, without its line feed and a carriage return directly before that (or of
    /// the end of the file).
    /// Returns: false at the end of the file, and deliberately for an empty line too, which thus
    ///          ends the reading of whatever is read by lines. The line is then empty.
    bool ReadString(std::string& line);

private:
    int readCharacter();
};

}  // namespace QelPcpLib
