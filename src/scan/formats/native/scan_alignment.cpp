#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace brisko::scan {

Alignment alignmentOf(const std::string& scan) {
    Alignment alignment;
    const std::string path = companionOf(scan, ".alg");
    if (std::error_code ignored; !std::filesystem::exists(path, ignored)) return alignment;
    alignment.source = readAlignmentFile(path.c_str(), alignment.matrix)
                           ? AlignmentSource::File
                           : AlignmentSource::Unreadable;
    return alignment;
}

ScanLayout inspectNative(const std::string& path) {
    return hasExtension(path, ".clr") ? inspectCLR(path) : inspectCL3(path);
}

bool isSameMatrix(const double (&a)[16], const double (&b)[16]) {
    for (int i = 0; i < 16; ++i) {
        const double tolerance = 1e-15 * std::max(1.0, std::abs(a[i]));
        if (!(std::abs(a[i] - b[i]) <= tolerance)) return false;
    }
    return true;
}

}  // namespace brisko::scan
