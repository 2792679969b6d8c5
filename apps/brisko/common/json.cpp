#include "common/json.h"

#include <brisko_scan/photos.h>

#include <charconv>
#include <cmath>
#include <iostream>

namespace brisko::tool {
namespace {

/// The library escapes control characters below the blank only; terminals obey others, too.
std::string withoutControls(const std::string& json) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string out;
    out.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (byte == 0x7F) {
            out += "\\u007f";
        } else if (byte == 0xC2 && next < 0xA0) {  // valid UTF-8: what follows is 80 or above
            out += {'\\', 'u', '0', '0', kDigits[next >> 4], kDigits[next & 15]};
            ++i;
        } else {
            out += json[i];
        }
    }
    return out;
}

}  // namespace

std::string jsonText(const nlohmann::ordered_json& document, int indent) {
    return withoutControls(
        document.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void printDocument(const nlohmann::ordered_json& document) {
    std::cout << jsonText(document, 2) << "\n";
}

nlohmann::ordered_json jsonNumber(double value) {
    if (!std::isfinite(value)) return nullptr;
    return value;
}

nlohmann::ordered_json jsonNumber(float value) {
    if (!std::isfinite(value)) return nullptr;
    char text[32];
    const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    double shortest = 0;
    std::from_chars(text, end, shortest);
    return shortest;
}

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
