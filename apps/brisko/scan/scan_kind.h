#pragma once

#include <string>

namespace brisko::tool {

enum class ScanKind { CL3, CLR, PTX };

/// The kind of a scan by its name: .cl3, .clr, .ptx, or all capitals.
/// Throws Failure(Usage) for any other name.
ScanKind scanKind(const std::string& path);

/// The extension of the last component of a path in small letters, when it is written in small or
/// in capital letters throughout; otherwise as it is.
std::string extensionOf(const std::string& path);

/// The file beside a scan, with the path's extension replaced.
std::string companionOf(const std::string& path, const std::string& extension);

}  // namespace brisko::tool
