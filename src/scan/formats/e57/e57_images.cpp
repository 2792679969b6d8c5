#include "scan/formats/e57/e57_images.h"

#include "scan/formats/e57/e57_file.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cctype>

namespace brisko::scan {
namespace {

/// The number keeps names apart; of the file's own name what any system takes.
std::string fileNameOf(const e57::Image& image, std::size_t number) {
    constexpr std::size_t kMost = 80;  // bytes
    std::string name = std::to_string(number);
    if (!image.name.empty()) name += "_";
    for (const char c : image.name.substr(0, kMost)) {
        const auto byte = static_cast<unsigned char>(c);
        name += std::isalnum(byte) != 0 || c == '-' || c == '_' ? c : '_';
    }
    return name + (image.isPng ? ".png" : ".jpg");
}

}  // namespace

std::vector<EmbeddedImage> listE57Images(const std::string& path) {
    const e57::File file(path);
    std::vector<EmbeddedImage> images;
    for (const e57::Image& image : file.images()) {
        images.push_back(
            {image.name, image.representation, fileNameOf(image, images.size() + 1), image.bytes});
    }
    return images;
}

std::vector<PlacedImage> placeE57Images(const std::string& path) {
    const e57::File file(path);
    std::vector<PlacedImage> placed;
    for (const e57::Image& image : file.images())
        placed.push_back({placed.size(), image.name, image.scanGuid, image.camera});
    return placed;
}

void readE57Image(const std::string& path, std::size_t number, const ImageSink& sink) {
    constexpr std::uint64_t kPart = std::uint64_t{64} << 10;
    e57::File file(path);
    const e57::Image& image = file.images().at(number);
    const std::uint64_t end = file.pages().size();
    const std::uint64_t start = e57::isOffset(image.blob) ? e57::logicalOf(image.blob) : end;
    if (start > end || end - start < e57::BlobHeader::kSize ||
        image.bytes > end - start - e57::BlobHeader::kSize) {
        throw ScanError(ErrorKind::Damaged, path,
                        "image " + std::to_string(number + 1) + " does not lie inside the file");
    }
    for (std::uint64_t done = 0; done < image.bytes;) {
        const auto part = static_cast<std::size_t>(std::min(kPart, image.bytes - done));
        const std::uint64_t at = start + e57::BlobHeader::kSize + done;
        sink({file.pages().view(at, part), part});
        done += part;
    }
}

}  // namespace brisko::scan
