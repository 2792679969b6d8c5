#pragma once

#include <brisko_codec/scan_photos.h>
#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <string>
#include <vector>

namespace brisko::scan {

/// The photos beside a scan, and what is wrong with them in words.
struct StationPhotos : ScanPhotos {
    std::vector<PhotoFault> faults;
};

/// Without decoding any, and with all decoded that are loaded for colours.
BRISKO_SCAN_EXPORT StationPhotos findStationPhotos(const std::string& scan);
BRISKO_SCAN_EXPORT StationPhotos decodeStationPhotos(const std::string& scan);
/// The latter, asking `progress` all the while whether to go on, with updates without a task.
/// Throws ScanError(Cancelled) where it answers false.
BRISKO_SCAN_EXPORT StationPhotos decodeStationPhotos(const std::string& scan,
                                                     const ProgressFunction& progress);

/// "14 found, 12 used, station kind 1 (stored turned)".
BRISKO_SCAN_EXPORT std::string photosText(const ScanPhotos& photos);

/// Photos that are left aside without angles or a camera, a line a reason: "2 photos not used,
/// without an angle file (.ang): a.jpg, b.jpg".
BRISKO_SCAN_EXPORT std::vector<std::string> ignoredTexts(const ScanPhotos& photos);

/// A photo and what becomes of it: "a.jpg: used, 1600 x 1200 pixels".
BRISKO_SCAN_EXPORT std::string photoText(const ScanPhotos& station, const ScanPhoto& photo);

/// One word for programs: "used", "withoutAngles" and so on; "whole", "mended", "unreadable", or null
/// for pixels that nobody looked at.
BRISKO_SCAN_EXPORT const char* wordOf(PhotoUse use);
BRISKO_SCAN_EXPORT const char* wordOf(PhotoPixels pixels);

/// A file of a station that is at fault.
struct PhotoTrouble {
    std::string kind;  // "photo" or "calibration"
    std::string file;
    std::string text;
    bool isFatal = true;  // whether it keeps a scan from being coloured at all, or may do so
};

/// What is wrong with the files of a station, each file once. Photos that are merely not used are
/// no trouble.
BRISKO_SCAN_EXPORT std::vector<PhotoTrouble> troublesOf(const StationPhotos& photos);

/// What is odd about the photos that are used, each file once.
BRISKO_SCAN_EXPORT std::vector<std::string> remarksOn(const StationPhotos& photos);

/// "a.jpg: ...".
BRISKO_SCAN_EXPORT std::string troubleText(const PhotoTrouble& trouble);

/// Throws ScanError(Damaged) with the first trouble that is fatal, if there is one.
BRISKO_SCAN_EXPORT void requireUsable(const StationPhotos& photos);

/// How a scan without colours gets some: empty when no photo beside it can be used.
BRISKO_SCAN_EXPORT std::string hintAtPhotos(const std::string& scan);

}  // namespace brisko::scan
