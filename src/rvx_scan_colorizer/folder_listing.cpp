#include "rvx_scan_colorizer/folder_listing.h"

#include "base/utf8.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>

namespace brisko {

namespace {

std::string upperCase(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

}  // namespace

std::vector<std::string> listFiles(const std::string& folder) {
    std::vector<std::pair<std::string, std::string>> keyed;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        std::string name = entry->path().filename().string();
        if (!entry->is_regular_file(unknown) || !isUtf8(name)) continue;
        keyed.emplace_back(upperCase(name), name);
    }
    std::sort(keyed.begin(), keyed.end());
    std::vector<std::string> names;
    names.reserve(keyed.size());
    for (auto& [key, name] : keyed)
        names.push_back(std::move(name));
    return names;
}

std::string folderOf(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return absolute.lexically_normal().parent_path().string();
}

}  // namespace brisko
