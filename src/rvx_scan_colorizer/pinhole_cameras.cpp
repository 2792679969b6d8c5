#include <brisko_codec/scan_photos.h>

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/camera.h"
#include "rvx_scan_colorizer/jpeg_file.h"
#include "rvx_scan_colorizer/station_files.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <optional>

namespace brisko {

namespace {

Vector3 scaled(const Vector3& v, double factor) {
    return {v[0] * factor, v[1] * factor, v[2] * factor};
}

Vector3 crossed(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// The axes of a camera in the scanner's frame: to the right, up and backwards. Files round them; these
/// are of length 1 and stand upright on each other.
struct Axes {
    Vector3 right, up, back{};

    explicit Axes(const Matrix3& rotation) : right(rotation.rows[0]), up(rotation.rows[1]) {
        right = scaled(right, 1 / std::sqrt(dot(right, right)));
        const double share = dot(up, right);
        for (std::size_t i = 0; i < 3; ++i)
            up[i] -= share * right[i];
        up = scaled(up, 1 / std::sqrt(dot(up, up)));
        back = crossed(right, up);
    }

    /// Of the photo as it is stored; turning it gives the upright one.
    void turnBack(Turn turn) {
        if (turn == Turn::None) return;
        const Vector3 uprightRight = right;
        right = turn == Turn::Quarter ? up : scaled(right, -1);
        up = scaled(turn == Turn::Quarter ? uprightRight : up, -1);
    }
};

struct Place {
    double x = 0, y = 0;
};

/// Where a photo as it is stored has what lies at a place of the upright photo.
Place storedPlace(Turn turn, const ImageSize& stored, const Place& upright) {
    switch (turn) {
        case Turn::Quarter:
            return {stored.width - 1 - upright.y, upright.x};
        case Turn::Half:
            return {stored.width - 1 - upright.x, stored.height - 1 - upright.y};
        default:
            return upright;
    }
}

/// What the photo shows somewhere: its pixel, and the direction as the tangents to the right and up.
struct Sight {
    Place pixel;
    double right = 0, up = 0;
};

/// A grid over the photo, without what its lens does not reach.
std::vector<Sight> sightsOf(const Camera& camera, const ImageSize& stored, const Axes& axes) {
    constexpr int kCells = 16;
    constexpr double kLeastForward = 1e-3;  // nearly all around is no picture of a pinhole
    const bool isQuarter = camera.turn == Turn::Quarter;
    const double width = isQuarter ? stored.height : stored.width;
    const double height = isQuarter ? stored.width : stored.height;
    std::vector<Sight> sights;
    for (int i = 0; i <= kCells; ++i) {
        for (int k = 0; k <= kCells; ++k) {
            const Pixel pixel{(camera.size.width - 1) * i / kCells,
                              (camera.size.height - 1) * k / kCells};
            bool isBeyondReach = false;
            const Vector3 direction = camera.projection.directionTo(pixel, isBeyondReach);
            const double forward = -dot(direction, axes.back);
            if (isBeyondReach || !(forward > kLeastForward)) continue;
            const Place upright{pixel.column * width / camera.size.width,
                                pixel.row * height / camera.size.height};
            sights.push_back({storedPlace(camera.turn, stored, upright),
                              dot(direction, axes.right) / forward,
                              dot(direction, axes.up) / forward});
        }
    }
    return sights;
}

/// The straight line nearest to places over tangents.
struct Line {
    double start = 0, slope = 0;
};

template <class Tangent, class Where>
std::optional<Line> fitLine(const std::vector<Sight>& sights, const Tangent& tangent,
                            const Where& where) {
    const auto count = static_cast<double>(sights.size());
    double meanTangent = 0, meanPlace = 0, squares = 0, products = 0;
    for (const Sight& sight : sights) {
        meanTangent += tangent(sight) / count;
        meanPlace += where(sight) / count;
    }
    for (const Sight& sight : sights) {
        const double away = tangent(sight) - meanTangent;
        squares += away * away;
        products += away * (where(sight) - meanPlace);
    }
    const double slope = products / squares;
    if (!(std::isfinite(slope) && slope > 0)) return std::nullopt;
    return Line{meanPlace - slope * meanTangent, slope};
}

/// Fits the principal point and the size of the pixels to what the photo shows.
void fitPinhole(const std::vector<Sight>& sights, PinholeCamera& camera) {
    const auto x = fitLine(
        sights, [](const Sight& s) { return s.right; }, [](const Sight& s) { return s.pixel.x; });
    const auto y = fitLine(
        sights, [](const Sight& s) { return -s.up; }, [](const Sight& s) { return s.pixel.y; });
    if (!x || !y) return;
    for (const Sight& s : sights) {
        camera.worstError =
            std::max(camera.worstError, std::hypot(x->start + x->slope * s.right - s.pixel.x,
                                                   y->start - y->slope * s.up - s.pixel.y));
    }
    constexpr double kWorstShare = 1.0 / 16;
    if (!(camera.worstError <= kWorstShare * std::max(camera.width, camera.height))) return;
    camera.principalX = x->start;
    camera.principalY = y->start;
    camera.pixelWidth = camera.focalLength / x->slope;
    camera.pixelHeight = camera.focalLength / y->slope;
}

PinholeCamera pinholeOf(const CameraRecord& record, const Camera& camera, const ImageSize& stored) {
    const CameraModel& model = *record.model;
    Axes axes(model.pose.rotation);
    const Vector3 place = model.pose.toScanner(scaled(model.pose.offset, -0.001));  // metres
    axes.turnBack(camera.turn);

    PinholeCamera pinhole;
    pinhole.photo = record.path;
    pinhole.width = stored.width;
    pinhole.height = stored.height;
    pinhole.focalLength = model.principalDistance;
    for (std::size_t row = 0; row < 3; ++row) {
        const double elements[] = {axes.right[row], axes.up[row], axes.back[row], place[row]};
        std::copy(std::begin(elements), std::end(elements), pinhole.pose + 4 * row);
    }
    pinhole.pose[15] = 1;
    fitPinhole(sightsOf(camera, stored, axes), pinhole);
    return pinhole;
}

/// Nothing for a photo that cannot be used.
std::optional<PinholeCamera> findCamera(const StationFiles& station, const PhotoFiles& photo) {
    if (!station.takes(photo)) return std::nullopt;
    try {
        const CameraRecord record = readCameraRecord(station, photo);
        if (!record.model) return std::nullopt;
        const Camera camera = prepareCamera(record, station.kind, PhotoOutlines::Corners);
        return pinholeOf(record, camera, getImageDimention(photo.path));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

std::vector<PinholeCamera> findPinholeCameras(const std::string& scanPath) {
    std::vector<PinholeCamera> cameras;
    try {
        const StationFiles station = findStationFiles(folderOf(scanPath));
        for (const PhotoFiles& photo : station.photos) {
            if (auto camera = findCamera(station, photo)) cameras.push_back(std::move(*camera));
        }
    } catch (const FileFailure&) {
        cameras.clear();  // the station has no camera that is known
    }
    return cameras;
}

}  // namespace brisko
