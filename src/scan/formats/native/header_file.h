#pragma once

#include <brisko_codec/file_header.h>

#include <cstdio>
#include <memory>
#include <string>

namespace brisko::scan {

struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

/// Reads the header of a scan file; fields that a short file lacks keep their values.
/// Throws ScanError(Damaged) when it cannot be read.
void readHeader(CLFileHeader& header, const std::string& path);

/// Whether the angles that a header gives are numbers, and what to say when not. The steps of a CL3
/// header do not count: writers that know no grid leave what a division by 0 gives.
bool hasFiniteAngles(const CLFileHeader& header);
inline constexpr const char* kBadAngle = "an angle of the header is not a number";

/// Replaces the header at the start of a scan file that a writer has completed.
/// Throws ScanError(NotWritten).
void rewriteHeader(const std::string& path, const CLFileHeader& header,
                   const std::string& shownPath);

}  // namespace brisko::scan
