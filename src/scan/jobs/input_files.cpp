#include "scan/jobs/input_files.h"

#include "scan/formats/format_table.h"

#include <brisko_scan/scan_error.h>

#include <glob.h>
#include <algorithm>
#include <filesystem>

namespace brisko::scan {
namespace {

namespace fs = std::filesystem;

bool isReadable(const std::string& path) {
    const Format* const format = formatOf(path);
    return format && format->reads;
}

std::vector<std::string> scansIn(const std::string& folder) {
    std::vector<std::string> scans;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file() && isReadable(entry.path().string())) {
            scans.push_back(entry.path().string());
        }
    }
    std::sort(scans.begin(), scans.end());
    return scans;
}

/// The files of a pattern, by name; none where it is no pattern, or where nothing fits.
std::vector<std::string> filesOfPattern(const std::string& pattern) {
    if (pattern.find_first_of("*?") == std::string::npos) return {};
    glob_t found{};
    std::vector<std::string> files;
    if (glob(pattern.c_str(), 0, nullptr, &found) == 0) {
        files.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    }
    globfree(&found);
    return files;
}

}  // namespace

std::vector<std::string> filesOf(const std::string& input) {
    std::error_code ignored;
    if (fs::is_directory(input, ignored)) return scansIn(input);
    if (!fs::exists(input, ignored)) {
        std::vector<std::string> files = filesOfPattern(input);
        if (!files.empty()) return files;
    }
    return {input};
}

std::vector<std::string> scanChoicesOf(const std::string& path) {
    const FormatDriver& driver = readerOf(path);
    if (!driver.list) return {""};
    const std::vector<ScanEntry> entries = driver.list(path);
    if (entries.size() == 1) return {""};
    const auto count = [&](const std::string& name) {
        return std::count_if(entries.begin(), entries.end(),
                             [&](const ScanEntry& entry) { return entry.name == name; });
    };
    std::vector<std::string> choices;
    for (const ScanEntry& entry : entries) {
        if (!entry.name.empty() && count(entry.name) == 1) {
            choices.push_back(entry.name);
            continue;
        }
        choices.push_back(std::to_string(choices.size() + 1));
        if (count(choices.back()) > 0) {
            throw ScanError(ErrorKind::Request, path,
                            "its scan " + choices.back() +
                                " cannot be told from the one that has this number as its name");
        }
    }
    return choices;
}

}  // namespace brisko::scan
