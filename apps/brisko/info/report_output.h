#pragma once

#include <brisko_scan/inspect.h>

#include <nlohmann/json.hpp>
#include <string>

namespace brisko::tool {

using scan::PointSummary;
using scan::ScanReport;

/// A report for people, several lines.
std::string reportText(const ScanReport& report);

/// A report for programs. Fields that the scan does not have are null, and so are numbers that are
/// not finite; texts come without padding.
nlohmann::ordered_json reportJson(const ScanReport& report);

/// The same for an input that could not be looked at.
nlohmann::ordered_json failureJson(const std::string& path, const std::string& problem);

/// A header field without the NULs and blanks that fill it up.
std::string withoutPadding(std::string text);

/// The word used in both.
const char* sourceName(AlignmentSource source);

}  // namespace brisko::tool
