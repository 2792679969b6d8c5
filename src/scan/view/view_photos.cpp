#include "scan/view/view_photos.h"

#include "base/text.h"
#include "scan/files/input_file.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/view/packed_planes.h"
#include "scan/view/scene_text.h"
#include "scan/view/thumbnail.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace brisko::scan {
namespace {

constexpr std::size_t kMostEach = 150'000, kMostTogether = 6'000'000;  // bytes of the pictures
constexpr std::size_t kMostPhotos = 400;

using Bytes = std::vector<std::uint8_t>;

/// Takes the camera from the scanner's frame to the aligned one.
void align(PinholeCamera& camera, const Alignment& alignment) {
    double pose[16];
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            double& element = pose[4 * row + column] = 0;
            for (std::size_t k = 0; k < 4; ++k)
                element += alignment.matrix[4 * row + k] * camera.pose[4 * k + column];
        }
    }
    std::copy(std::begin(pose), std::end(pose), camera.pose);
}

/// The sides of a photo one metre ahead of its camera: left, right, bottom, top, metres.
std::vector<double> sidesOf(const PinholeCamera& camera) {
    constexpr double kHalf = 0.5;  // a pixel: places count from the middle of the first one
    const double across = camera.pixelWidth / camera.focalLength;
    const double down = camera.pixelHeight / camera.focalLength;
    return {across * (-kHalf - camera.principalX),
            across * (camera.width - kHalf - camera.principalX),
            down * (camera.principalY - camera.height + kHalf), down * (camera.principalY + kHalf)};
}

bool isUsable(const PinholeCamera& camera) {
    if (!(camera.focalLength > 0 && camera.pixelWidth > 0 && camera.pixelHeight > 0)) return false;
    const auto isNumber = [](double value) { return std::isfinite(value); };
    const std::vector<double> sides = sidesOf(camera);
    return camera.width > 0 && camera.height > 0 && sides[0] < sides[1] && sides[2] < sides[3] &&
           std::all_of(sides.begin(), sides.end(), isNumber) &&
           std::all_of(std::begin(camera.pose), std::end(camera.pose), isNumber);
}

template <class Numbers>
std::string listOf(const Numbers& numbers) {
    std::string text;
    for (const double number : numbers)
        text += (text.empty() ? "[" : ",") + formatText("%.17g", number);
    return text + "]";
}

/// The bytes of a picture; none where it is too large.
Bytes bytesOfPicture(const std::string& file, std::size_t image) {
    const FormatDriver* driver = hasExtension(file, ".e57") ? &readerOf(file) : nullptr;
    Bytes bytes;
    if (driver) {
        driver->readImage(file, image, [&](std::span<const std::uint8_t> part) {
            if (bytes.size() + part.size() <= kMostPhotoBytes)
                bytes.insert(bytes.end(), part.begin(), part.end());
        });
        return bytes;
    }
    InputFile input(file);
    if (input.size() > kMostPhotoBytes) return {};
    bytes.resize(static_cast<std::size_t>(input.size()));
    bytes.resize(input.read(bytes.data(), bytes.size()));
    return bytes;
}

}  // namespace

void ViewPhotos::warn(const std::string& file, std::size_t count, const char* why) const {
    if (count > 0 && m_warning) m_warning(file + ": " + countOf(count, "photo") + why);
}

void ViewPhotos::add(const Photo& photo) {
    const auto isSame = [&](const Photo& known) {
        return known.file == photo.file && known.image == photo.image;
    };
    if (std::none_of(m_photos.begin(), m_photos.end(), isSame)) m_photos.push_back(photo);
}

void ViewPhotos::find(const ScanInfo& info, std::size_t scan) {
    const FormatDriver& driver = readerOf(info.path);
    std::size_t left = 0;
    if (driver.placeImages) {
        for (const PlacedImage& placed : driver.placeImages(info.path)) {
            if (!placed.scanGuid.empty() && placed.scanGuid != info.guid) continue;
            if (isUsable(placed.camera)) {
                add({info.path, placed.image, scan, placed.name, placed.camera});
            } else {
                ++left;
            }
        }
        warn(info.path, left, " without a camera and its place left out");
    } else if (driver.traits.isNative) {
        left = findScanPhotos(info.path).photos.size();
        for (PinholeCamera& camera : findPinholeCameras(info.path)) {
            align(camera, info.alignment);
            if (!isUsable(camera)) continue;
            const std::string name = std::filesystem::path(camera.photo).filename().string();
            add({camera.photo, 0, scan, name, camera});
            --left;
        }
        warn(info.path, left, " beside it left out; 'brisko images' shows why");
    }
}

void ViewPhotos::write(NamedOutput& page, const ProgressFunction& progress) {
    if (m_photos.size() > kMostPhotos) {
        warn(m_photos.front().file, m_photos.size() - kMostPhotos, " more than a page holds");
        m_photos.resize(kMostPhotos);
    }
    const std::size_t most =
        std::min(kMostEach, kMostTogether / std::max<std::size_t>(m_photos.size(), 1));
    for (const Photo& photo : m_photos) {
        requireGoingOn(progress);
        Bytes picture;
        try {
            picture = thumbnailOf(bytesOfPicture(photo.file, photo.image), most);
        } catch (const ScanError&) {
            picture.clear();  // it became unreadable; the scan can be seen without it
        }
        if (picture.empty()) {
            if (m_warning)
                m_warning(photo.file + ": " + photo.name + " cannot be decoded; it is left out");
            continue;
        }
        page.write("<script type=\"text/plain\" class=\"photo\">");
        Base64Text text(page);
        text.write(picture);
        text.finish();
        page.write("</script>\n");
        m_members.push_back("{\"name\":" + quoted(photo.name) +
                            ",\"scan\":" + std::to_string(photo.scan) +
                            ",\"sides\":" + listOf(sidesOf(photo.camera)) +
                            ",\"pose\":" + listOf(photo.camera.pose) + "}");
    }
}

}  // namespace brisko::scan
