#include "rvx_scan_colorizer/folder_listing.h"

#include "base/file.h"
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
    for (std::string& name : filesIn(folder)) {
        if (isUtf8(name)) keyed.emplace_back(upperCase(name), std::move(name));
    }
    std::sort(keyed.begin(), keyed.end());
    std::vector<std::string> names;
    names.reserve(keyed.size());
    for (auto& [key, name] : keyed)
        names.push_back(std::move(name));
    return names;
}

bool holdsEntryNamed(const std::string& folder, std::string_view part) {
    bool holds = false;
    forEachEntry(folder, [&](std::string_view name) {
        holds = holds || name.find(part) != std::string_view::npos;
    });
    return holds;
}

std::string folderOf(const std::string& path) {
    std::error_code error;
    std::filesystem::path folder;
    for (const auto& part : std::filesystem::absolute(path, error).parent_path()) {
        if (part == "..") {
            // Of the folder that a symbolic link leads to, as for the system.
            folder = std::filesystem::weakly_canonical(folder, error).parent_path();
        } else if (part != ".") {
            folder /= part;
        }
    }
    return folder.string();
}

}  // namespace brisko
