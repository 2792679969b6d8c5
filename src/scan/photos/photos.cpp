#include <brisko_scan/photos.h>

#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <filesystem>
#include <optional>

namespace brisko::scan {
namespace {

constexpr int kCameraEach = 2;  // the kind of station whose photos have cameras of their own

// Kinds of trouble.
constexpr const char* kPhoto = "photo";
constexpr const char* kCalibration = "calibration";

/// What becomes of a photo: the word for programs, the words for people.
struct UseText {
    PhotoUse use;
    const char* word;
    const char* text;
    const char* cameraEachText;
};
constexpr UseText kUses[] = {
    {PhotoUse::Used, "used", "used", "used"},
    {PhotoUse::WithoutAngles, "withoutAngles", "without an angle file (.ang)",
     "without a camera file (.cmr)"},
    {PhotoUse::WithoutCamera, "withoutCamera", "of no known camera: named neither T... nor W...",
     "without a file that gives the camera's place (.ext)"},
    {PhotoUse::BrokenCalibration, "brokenCalibration", "with a calibration that cannot be used",
     "with a calibration that cannot be used"},
    {PhotoUse::BrokenPhoto, "brokenPhoto", "that cannot be read as JPEG",
     "that cannot be read as JPEG"},
};

const UseText& textsOf(PhotoUse use) {
    return *std::find_if(std::begin(kUses), std::end(kUses),
                         [use](const UseText& texts) { return texts.use == use; });
}

const char* useText(const ScanPhotos& station, PhotoUse use) {
    const UseText& texts = textsOf(use);
    return station.stationKind == kCameraEach ? texts.cameraEachText : texts.text;
}

const char* stationText(int kind) {
    switch (kind) {
        case kCameraEach:
            return "a camera for each photo";
        case 3:
            return "with an offset file";
        default:
            return "stored turned";
    }
}

std::string nameOf(const ScanPhoto& photo) {
    return std::filesystem::path(photo.path).filename().string();
}

/// "a.jpg, b.jpg, c.jpg and 5 more".
std::string namesOf(const ScanPhotos& photos, PhotoUse use) {
    constexpr std::size_t kMost = 3;
    std::string names;
    std::size_t count = 0;
    for (const ScanPhoto& photo : photos.photos) {
        if (photo.use != use || ++count > kMost) continue;
        names += (names.empty() ? "" : ", ") + nameOf(photo);
    }
    return count > kMost ? names + " and " + std::to_string(count - kMost) + " more" : names;
}

/// Why a photo is broken; without words where its files changed meanwhile.
std::string faultOf(const StationPhotos& photos, const ScanPhoto& photo) {
    const auto fault =
        std::find_if(photos.faults.begin(), photos.faults.end(),
                     [&](const PhotoFault& f) { return f.isFatal && f.photo == photo.path; });
    return fault == photos.faults.end() ? "cannot be used" : fault->text;
}

std::optional<PhotoTrouble> troubleOf(const StationPhotos& photos, const ScanPhoto& photo) {
    if (photo.use == PhotoUse::BrokenCalibration) {
        return PhotoTrouble{
            kCalibration, photo.culprit,
            faultOf(photos, photo) + "; it describes the camera of " + nameOf(photo)};
    }
    if (photo.use == PhotoUse::BrokenPhoto) {
        return PhotoTrouble{kPhoto, photo.path, faultOf(photos, photo)};
    }
    if (photo.pixels == PhotoPixels::Mended) {
        return PhotoTrouble{kPhoto, photo.path,
                            "damaged after its header; what is lost of it gives wrong colours",
                            false};
    }
    if (photo.pixels == PhotoPixels::Unreadable) {
        return PhotoTrouble{kPhoto, photo.path, "damaged after its header; cannot be decoded"};
    }
    return std::nullopt;
}

}  // namespace

const char* wordOf(PhotoUse use) {
    return textsOf(use).word;
}

const char* wordOf(PhotoPixels pixels) {
    switch (pixels) {
        case PhotoPixels::Whole:
            return "whole";
        case PhotoPixels::Mended:
            return "mended";
        case PhotoPixels::Unreadable:
            return "unreadable";
        default:
            return nullptr;
    }
}

StationPhotos findStationPhotos(const std::string& scan) {
    return {findScanPhotos(scan), findPhotoFaults(scan)};
}

StationPhotos decodeStationPhotos(const std::string& scan) {
    return decodeStationPhotos(scan, {});
}

StationPhotos decodeStationPhotos(const std::string& scan, const ProgressFunction& progress) {
    return {decodeScanPhotos(scan, [&] { requireGoingOn(progress); }), findPhotoFaults(scan)};
}

std::string photosText(const ScanPhotos& photos) {
    return std::to_string(photos.photos.size()) + " found, " +
           std::to_string(photos.count(PhotoUse::Used)) + " used, station kind " +
           std::to_string(photos.stationKind) + " (" + stationText(photos.stationKind) + ")";
}

std::vector<std::string> ignoredTexts(const ScanPhotos& photos) {
    std::vector<std::string> texts;
    for (const PhotoUse use : {PhotoUse::WithoutAngles, PhotoUse::WithoutCamera}) {
        const std::size_t count = photos.count(use);
        if (count == 0) continue;
        texts.push_back(countOf(count, "photo") + " not used, " + useText(photos, use) + ": " +
                        namesOf(photos, use));
    }
    return texts;
}

std::string photoText(const ScanPhotos& station, const ScanPhoto& photo) {
    std::string text = nameOf(photo) + ": ";
    if (photo.use != PhotoUse::Used) text += "not used, ";
    text += useText(station, photo.use);
    if (photo.width > 0) {
        text +=
            ", " + std::to_string(photo.width) + " x " + std::to_string(photo.height) + " pixels";
    }
    const bool isDamaged =
        photo.pixels == PhotoPixels::Mended || photo.pixels == PhotoPixels::Unreadable;
    return isDamaged ? text + ", damaged after its header" : text;
}

std::vector<PhotoTrouble> troublesOf(const StationPhotos& photos) {
    std::vector<PhotoTrouble> troubles;
    for (const ScanPhoto& photo : photos.photos) {
        const std::optional<PhotoTrouble> trouble = troubleOf(photos, photo);
        const bool isNew = trouble && std::none_of(troubles.begin(), troubles.end(),
                                                   [&](const PhotoTrouble& known) {
                                                       return known.file == trouble->file;
                                                   });
        if (isNew) troubles.push_back(*trouble);
    }
    const bool isOfNoPhoto = photos.photos.empty() && !photos.culprit.empty();
    if (isOfNoPhoto) {
        troubles.push_back(
            {kCalibration, photos.culprit, "cannot be read; it describes how photos were taken"});
    }
    return troubles;
}

std::string troubleText(const PhotoTrouble& trouble) {
    return trouble.file + ": " + trouble.text;
}

std::vector<std::string> remarksOn(const StationPhotos& photos) {
    std::vector<std::string> remarks;
    for (const PhotoFault& fault : photos.faults) {
        const std::string remark = fault.file + ": " + fault.text;
        const bool isKnown = std::find(remarks.begin(), remarks.end(), remark) != remarks.end();
        if (!fault.isFatal && !isKnown) remarks.push_back(remark);
    }
    return remarks;
}

void requireUsable(const StationPhotos& photos) {
    for (const PhotoTrouble& trouble : troublesOf(photos)) {
        if (!trouble.isFatal) continue;
        const bool isPhoto = trouble.kind == kPhoto;
        throw ScanError(
            ErrorKind::Damaged, {},
            troubleText(trouble) + (isPhoto ? "; move it away to colour without it"
                                            : "; mend it, or move the photos away that need it"));
    }
}

std::string hintAtPhotos(const std::string& scan) {
    if (!readerOf(scan).traits.isNative) return {};
    const std::size_t used = findScanPhotos(scan).count(PhotoUse::Used);
    if (used == 0) return {};
    return "'brisko colour' takes colours from the " + countOf(used, "photo") + " beside it";
}

}  // namespace brisko::scan
