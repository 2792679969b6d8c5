#include "common/json_reports.h"

#include <brisko_scan/photos.h>

namespace brisko::tool {
namespace {

using Json = nlohmann::ordered_json;

Json photoJson(const ScanPhoto& photo) {
    Json json = {{"path", photo.path}, {"use", scan::wordOf(photo.use)},
                 {"width", nullptr},   {"height", nullptr},
                 {"pixels", nullptr},  {"culprit", nullptr}};
    if (photo.width > 0) {
        json["width"] = photo.width;
        json["height"] = photo.height;
    }
    if (const char* const word = scan::wordOf(photo.pixels)) json["pixels"] = word;
    if (!photo.culprit.empty()) json["culprit"] = photo.culprit;
    return json;
}

}  // namespace

Json findingJson(const scan::Finding& finding) {
    Json json = {{"kind", finding.kind},
                 {"file", finding.file},
                 {"block", nullptr},
                 {"offset", nullptr},
                 {"text", finding.text}};
    if (finding.block) json["block"] = *finding.block;
    if (finding.offset) json["offset"] = *finding.offset;
    return json;
}

Json photosJson(const ScanPhotos& photos) {
    if (photos.photos.empty() && photos.culprit.empty()) return nullptr;
    Json json = {{"stationKind", photos.stationKind},
                 {"found", photos.photos.size()},
                 {"used", photos.count(PhotoUse::Used)},
                 {"culprit", nullptr},
                 {"list", Json::array()}};
    if (!photos.culprit.empty()) json["culprit"] = photos.culprit;
    for (const ScanPhoto& photo : photos.photos)
        json["list"].push_back(photoJson(photo));
    return json;
}

}  // namespace brisko::tool
