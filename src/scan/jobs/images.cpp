#include <brisko_scan/images.h>

#include "scan/files/named_output.h"
#include "scan/formats/format_table.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

namespace brisko::scan {
namespace {

const FormatDriver& requireImages(const std::string& path) {
    const FormatDriver& driver = readerOf(path);
    if (driver.listImages) return driver;
    throw ScanError(ErrorKind::Request, path, "the format has no place for images");
}

}  // namespace

std::vector<EmbeddedImage> imagesIn(const std::string& path) {
    return requireImages(path).listImages(path);
}

std::vector<std::string> extractImages(const std::string& path, const std::string& folder,
                                       bool overwrite, const ProgressFunction& function) {
    const FormatDriver& driver = requireImages(path);
    const std::vector<EmbeddedImage> images = driver.listImages(path);
    std::vector<std::string> outputs;
    for (const EmbeddedImage& image : images) {
        outputs.push_back(folder + "/" + image.fileName);
        requireNew(outputs.back(), overwrite);
    }
    TaskProgress progress(function, "extract", images.size(), "images");
    for (std::size_t i = 0; i < images.size(); ++i) {
        StagedScan staged(outputs[i]);
        NamedOutput file(staged.path(), outputs[i]);
        driver.readImage(path, i, [&](std::span<const std::uint8_t> bytes) {
            file.write(bytes.data(), bytes.size());
        });
        file.close();
        staged.commit();
        progress.advanceTo(i + 1);
    }
    return outputs;
}

}  // namespace brisko::scan
