#include <brisko_scan/scan_kind.h>

#include <brisko_scan/scan_error.h>

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

ScanKind scanKind(const std::string& path) {
    const std::string extension = extensionOf(path);
    if (extension == ".cl3") return ScanKind::CL3;
    if (extension == ".clr") return ScanKind::CLR;
    if (extension == ".ptx") return ScanKind::PTX;
    throw ScanError(ErrorKind::Request, path, "not the name of a scan",
                    ".cl3, .clr or .ptx is expected");
}

std::string companionOf(const std::string& path, const std::string& extension) {
    return std::filesystem::path(path).replace_extension(extension).string();
}

}  // namespace brisko::scan
