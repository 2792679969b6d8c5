#include "base/companion_path.h"

namespace brisko {

std::string companionForReading(std::string_view path, std::string_view extension) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos) return {};
    return std::string(path.substr(0, dot)).append(extension);
}

std::string companionForWriting(std::string_view path, std::string_view extension) {
    const std::size_t slash = path.rfind('/');
    const std::size_t leaf = slash == std::string_view::npos ? 0 : slash + 1;
    const std::string_view name = path.substr(leaf);
    const std::size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string_view::npos && name != "." && name != "..";
    const std::string_view base = hasExtension ? path.substr(0, leaf + dot) : path;
    return std::string(base).append(extension);
}

}  // namespace brisko
