#pragma once

#include <brisko_codec/scan_photos.h>
#include <brisko_scan/findings.h>

#include <nlohmann/json.hpp>

namespace brisko::tool {

nlohmann::ordered_json findingJson(const scan::Finding& finding);
/// Null where there are no photos.
nlohmann::ordered_json photosJson(const ScanPhotos& photos);

}  // namespace brisko::tool
