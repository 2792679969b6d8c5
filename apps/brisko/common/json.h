#pragma once

#include <brisko_codec/scan_photos.h>
#include <brisko_scan/findings.h>

#include <nlohmann/json.hpp>

#include <string>

namespace brisko::tool {

/// A document as text. Paths and texts of headers may hold anything; what is not UTF-8 is replaced.
///   indent  blanks a level; negative: all on one line
std::string jsonText(const nlohmann::ordered_json& document, int indent);

/// Prints a document as one of the tool's results.
void printDocument(const nlohmann::ordered_json& document);

/// A number for JSON: null where it is not finite.
nlohmann::ordered_json jsonNumber(double value);
/// The same for a float, by its shortest decimal: 0.1, not 0.10000000149.
nlohmann::ordered_json jsonNumber(float value);

nlohmann::ordered_json findingJson(const scan::Finding& finding);
/// Null where there are no photos.
nlohmann::ordered_json photosJson(const ScanPhotos& photos);

}  // namespace brisko::tool
