#include "conversions.h"
#include "jobs.h"
#include "text.h"

#include <brisko_scan/formats.h>
#include <brisko_scan/images.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace brisko::python {
namespace {

namespace py = pybind11;
using namespace py::literals;

/// What brisko.Camera is made of.
py::object toCamera(const std::vector<PinholeCamera>& cameras, const std::string& photo) {
    const auto found = std::find_if(cameras.begin(), cameras.end(),
                                    [&](const PinholeCamera& c) { return c.photo == photo; });
    if (found == cameras.end() || found->pixelWidth <= 0 || found->pixelHeight <= 0)
        return py::none();
    Alignment pose;
    std::copy(std::begin(found->pose), std::end(found->pose), pose.matrix);
    return py::make_tuple(toMatrix(pose),
                          py::make_tuple(found->focalLength / found->pixelWidth,
                                         found->focalLength / found->pixelHeight),
                          py::make_tuple(found->principalX, found->principalY), found->worstError);
}

/// The photos beside a native scan. Without decoding any.
py::list photosBeside(const std::string& path) {
    scan::StationPhotos station;
    std::vector<PinholeCamera> cameras;
    {
        const py::gil_scoped_release released;
        station = scan::findStationPhotos(path);
        cameras = findPinholeCameras(path);
    }
    py::list photos;
    for (const ScanPhoto& photo : station.photos) {
        photos.append(
            py::dict("name"_a = toText(std::filesystem::path(photo.path).filename().string()),
                     "path"_a = toText(photo.path), "kind"_a = "photo",
                     "state"_a = scan::wordOf(photo.use), "width"_a = photo.width,
                     "height"_a = photo.height, "camera"_a = toCamera(cameras, photo.path)));
    }
    return photos;
}

std::vector<scan::EmbeddedImage> imagesIn(const std::string& path) {
    const py::gil_scoped_release released;
    try {
        return scan::imagesIn(path);
    } catch (const scan::ScanError& error) {
        // A format that holds none.
        if (error.kind() == scan::ErrorKind::Request) return {};
        throw;
    }
}

/// The pictures inside a file.
py::list picturesIn(const std::string& path) {
    py::list photos;
    for (const scan::EmbeddedImage& image : imagesIn(path)) {
        photos.append(py::dict("name"_a = toText(image.name.empty() ? image.fileName : image.name),
                               "path"_a = py::none(), "kind"_a = image.representation,
                               "state"_a = "inside", "width"_a = 0, "height"_a = 0,
                               "camera"_a = py::none()));
    }
    return photos;
}

}  // namespace

void addPhotos(py::module_& module) {
    module.def(
        "photos",
        [](const std::string& path) {
            const scan::Format* const format = scan::formatOf(path);
            return format && format->isNative ? photosBeside(path) : picturesIn(path);
        },
        "path"_a);
}

}  // namespace brisko::python
