#include "scan/formats/native/header_file.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <iterator>

namespace brisko::scan {

void readHeader(CLFileHeader& header, const std::string& path) {
    if (header.Read(path.c_str())) return;
    throw ScanError(ErrorKind::Damaged, path,
                    std::string("cannot be read: ") + std::strerror(errno));
}

bool hasFiniteAngles(const CLFileHeader& header) {
    const float angles[] = {header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(),
                            header.GetStartZenithAngle(), header.GetStopZenithAngle()};
    return std::all_of(std::begin(angles), std::end(angles),
                       [](float angle) { return std::isfinite(angle); });
}

void rewriteHeader(const std::string& path, const CLFileHeader& header,
                   const std::string& shownPath) {
    const Stream stream(std::fopen(path.c_str(), "r+b"));
    if (stream) header.Write(stream.get());
    if (!stream || std::fflush(stream.get()) != 0 || std::ferror(stream.get())) {
        throw ScanError(ErrorKind::NotWritten, shownPath,
                        std::string("its header cannot be written: ") + std::strerror(errno));
    }
}

}  // namespace brisko::scan
