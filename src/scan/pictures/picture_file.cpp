#include "scan/pictures/picture_file.h"

#include "scan/files/scan_path.h"
#include "scan/pictures/png_file.h"
#include "scan/pictures/tiff_file.h"

namespace brisko::scan {
namespace {

bool isTiffName(const std::string& path) {
    const std::string extension = extensionOf(path);
    return extension == ".tif" || extension == ".tiff";
}

}  // namespace

bool isPictureName(const std::string& path) {
    return extensionOf(path) == ".png" || isTiffName(path);
}

std::unique_ptr<PictureFile> openPictureFile(const std::string& path,
                                             const std::string& shownPath) {
    if (isTiffName(shownPath)) return std::make_unique<TiffFile>(path, shownPath);
    return std::make_unique<PngFile>(path, shownPath);
}

}  // namespace brisko::scan
