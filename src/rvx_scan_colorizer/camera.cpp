#include "rvx_scan_colorizer/camera.h"

namespace brisko {

namespace {

double blendWidth(const CameraModel& model, const ImageSize& nominal, const ImageSize& working) {
    constexpr double kNominalPixels = 200;
    const double nominalWidth = nominal.width;
    return working.width / nominalWidth * kNominalPixels *
           (nominalWidth / sensorWidth(model.pixelSize));
}

/// The part of a photo that counts as its view, both ends included.
struct View {
    Pixel upperLeft, lowerRight;
};

View viewOf(const CameraRecord& record, const Projection& projection, const ImageSize& size) {
    if (traitsOf(record.kind).showsUpperHalf(record.cameraStep)) {
        constexpr int kBelowMiddle = 199;
        return {{0, 0}, {size.width - 1, size.height / 2 + kBelowMiddle}};
    }
    const int x = projection.marginX(), y = projection.marginY();
    return {{x, y}, {size.width - x - 1, size.height - y - 1}};
}

/// The corners of the view, from the lower left one towards the lower right one. For whole outlines a
/// grid over it follows: in between, a view bulges out of the box around its corners, all the more the
/// wider it is and the better it faces an axis.
std::vector<Pixel> outlineOf(const View& view, PhotoOutlines outlines) {
    constexpr int kCells = 8;
    const auto [left, top] = view.upperLeft;
    const auto [right, bottom] = view.lowerRight;
    std::vector<Pixel> pixels = {{left, bottom}, {right, bottom}, {right, top}, {left, top}};
    if (outlines == PhotoOutlines::Corners) return pixels;
    for (int i = 0; i <= kCells; ++i) {
        for (int k = 0; k <= kCells; ++k) {
            pixels.push_back(
                {left + (right - left) / kCells * i, top + (bottom - top) / kCells * k});
        }
    }
    return pixels;
}

}  // namespace

Camera prepareCamera(const CameraRecord& record, StationKind station, PhotoOutlines outlines) {
    Camera camera;
    camera.path = record.path;
    const CameraTraits& traits = traitsOf(record.kind);
    if (station == StationKind::Turned) camera.turn = traits.turn;
    const ImageSize nominal = getImageDimention(record.path);
    camera.pixels =
        static_cast<std::uint64_t>(nominal.width) * static_cast<std::uint64_t>(nominal.height);
    if (!record.model) return camera;
    camera.size = traits.workingSize(nominal);
    camera.projection = Projection(*record.model, traits, nominal, camera.size);
    camera.blending = Blending(Blending::edgesOf(traits, record.cameraStep, station), camera.size,
                               blendWidth(*record.model, nominal, camera.size));
    for (const Pixel& pixel : outlineOf(viewOf(record, camera.projection, camera.size), outlines)) {
        camera.outline.push_back(camera.projection.directionTo(pixel, camera.isBeyondReach));
    }
    camera.seesAnything = true;
    return camera;
}

}  // namespace brisko
