#pragma once

#include <string>

namespace brisko::scan {

/// The extension of the last component of a path in small letters, when it is written in small or
/// in capital letters throughout; otherwise as it is.
std::string extensionOf(const std::string& path);

/// Whether a path has that extension, in small or in capital letters.
bool hasExtension(const std::string& path, const char* extension);

/// The name of a file without its folder.
std::string lastPartOf(const std::string& path);

/// The file beside a scan, with the path's extension replaced.
std::string companionOf(const std::string& path, const std::string& extension);

}  // namespace brisko::scan
