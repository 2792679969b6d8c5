#include "scan/files/scan_path.h"

#include <algorithm>
#include <filesystem>

namespace brisko::scan {
namespace {

char smallLetter(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSmallLetter(char c) {
    return c >= 'a' && c <= 'z';
}

}  // namespace

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    // Mixed letters are no extension that the library's hosts know.
    if (std::any_of(extension.begin(), extension.end(), isSmallLetter)) return extension;
    std::string small = extension;
    std::transform(small.begin(), small.end(), small.begin(), smallLetter);
    return small;
}

bool hasExtension(const std::string& path, const char* extension) {
    return extensionOf(path) == extension;
}

std::string lastPartOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string companionOf(const std::string& path, const std::string& extension) {
    return std::filesystem::path(path).replace_extension(extension).string();
}

}  // namespace brisko::scan
