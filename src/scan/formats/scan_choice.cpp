#include "scan/formats/scan_choice.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace brisko::scan {
namespace {

/// A choice that is a number of the file; nothing for other texts.
std::optional<std::size_t> toNumber(const std::string& choice, std::size_t scans) {
    std::size_t number = 0;
    const char* const end = choice.data() + choice.size();
    const auto result = std::from_chars(choice.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number < 1 || number > scans) return {};
    return number;
}

}  // namespace

std::size_t chooseScan(const std::string& path, const std::vector<std::string>& names,
                       const std::string& choice) {
    if (names.empty()) throw ScanError(ErrorKind::Request, path, "holds no scan");
    const std::string several = "holds " + countOf(names.size(), "scan");
    const std::string advice = "one is chosen by its number from 1 to " +
                               std::to_string(names.size()) + ", or by its name";
    if (choice.empty()) {
        if (names.size() == 1) return 0;
        throw ScanError(ErrorKind::Request, path, several, advice);
    }
    const auto named = std::count(names.begin(), names.end(), choice);
    if (named == 1) {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), choice) -
                                        names.begin());
    }
    if (named == 0) {
        if (const std::optional<std::size_t> number = toNumber(choice, names.size())) {
            return *number - 1;
        }
    }
    throw ScanError(
        ErrorKind::Request, path,
        several + (named == 0 ? ", none of them \"" : ", several of them \"") + choice + "\"",
        advice);
}

}  // namespace brisko::scan
