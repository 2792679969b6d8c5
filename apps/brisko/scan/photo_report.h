#pragma once

#include <brisko_codec/scan_photos.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace brisko::tool {

/// The photos beside a scan, and what is wrong with them in words.
struct StationPhotos : ScanPhotos {
    std::vector<PhotoFault> faults;
};

/// Without decoding any, and with all decoded that are loaded for colours.
StationPhotos findStationPhotos(const std::string& scan);
StationPhotos decodeStationPhotos(const std::string& scan);

/// "14 found, 12 used, station kind 1 (stored turned)".
std::string photosText(const ScanPhotos& photos);

/// Photos that are left aside without angles or a camera, a line a reason: "2 photos not used,
/// without an angle file (.ang): a.jpg, b.jpg".
std::vector<std::string> ignoredTexts(const ScanPhotos& photos);

/// A photo and what becomes of it: "a.jpg: used, 1600 x 1200 pixels".
std::string photoText(const ScanPhotos& station, const ScanPhoto& photo);

/// All of it for programs; null where there are no photos.
nlohmann::ordered_json photosJson(const ScanPhotos& photos);

/// A file of a station that is at fault.
struct PhotoTrouble {
    std::string kind;  // "photo" or "calibration"
    std::string file;
    std::string text;
    bool isFatal = true;  // whether it keeps a scan from being coloured at all, or may do so
};

/// What is wrong with the files of a station, each file once. Photos that are merely not used are
/// no trouble.
std::vector<PhotoTrouble> troublesOf(const StationPhotos& photos);

/// What is odd about the photos that are used, each file once.
std::vector<std::string> remarksOn(const StationPhotos& photos);

/// "a.jpg: ...".
std::string troubleText(const PhotoTrouble& trouble);

/// Throws Failure(Damaged) with the first trouble that is fatal, if there is one.
void requireUsable(const StationPhotos& photos);

/// How a scan without colours gets some: empty when no photo beside it can be used.
std::string hintAtPhotos(const std::string& scan);

}  // namespace brisko::tool
