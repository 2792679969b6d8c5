#pragma once

#include <brisko_scan/export.h>

#include <string>

namespace brisko::scan {

enum class ScanKind { CL3, CLR, PTX };

/// The kind of a scan by its name: .cl3, .clr, .ptx, or all capitals.
/// Throws ScanError(Request) for any other name.
BRISKO_SCAN_EXPORT ScanKind scanKind(const std::string& path);

/// The extension of the last component of a path in small letters, when it is written in small or
/// in capital letters throughout; otherwise as it is.
BRISKO_SCAN_EXPORT std::string extensionOf(const std::string& path);

/// The file beside a scan, with the path's extension replaced.
BRISKO_SCAN_EXPORT std::string companionOf(const std::string& path, const std::string& extension);

}  // namespace brisko::scan
