#include "rvx_scan_colorizer/camera.h"

namespace brisko {

namespace {

/// Cameras of type 1 are calibrated for pictures smaller than those they store.
ImageSize workingSize(int cameraType, const ImageSize& nominal) {
    if (cameraType != 1) return nominal;
    switch (nominal.width) {
        case 1280:
            return {400, 300};
        case 2560:
            return {800, 600};
        default:
            return {200, 150};
    }
}

bool usesUpperHalf(const CameraRecord& record) {
    return record.cameraType == 2 && record.cameraStep == 30;
}

Blending::Edges edgesOf(const CameraRecord& record, StationKind kind) {
    if (record.cameraType != 2) return Blending::Edges::All;
    if (record.cameraStep != 30) return Blending::Edges::AllButRight;
    return kind == StationKind::WithOffset ? Blending::Edges::UpperHalfPlain
                                           : Blending::Edges::UpperHalf;
}

double blendWidth(const CameraModel& model, const ImageSize& nominal, const ImageSize& working) {
    constexpr double kNominalPixels = 200;
    const double nominalWidth = nominal.width;
    return working.width / nominalWidth * kNominalPixels *
           (nominalWidth / sensorWidth(model.pixelSize));
}

std::vector<Pixel> cornerPixels(const CameraRecord& record, const Projection& projection,
                                const ImageSize& size) {
    const int width = size.width, height = size.height;
    if (usesUpperHalf(record)) {
        constexpr int kBelowMiddle = 199;
        const int bottom = height / 2 + kBelowMiddle;
        return {{0, bottom}, {width - 1, bottom}, {width - 1, 0}, {0, 0}};
    }
    const int x = projection.marginX(), y = projection.marginY();
    return {{x, height - y - 1}, {width - x - 1, height - y - 1}, {width - x - 1, y}, {x, y}};
}

}  // namespace

Camera prepareCamera(const CameraRecord& record, StationKind kind) {
    Camera camera;
    camera.path = record.path;
    if (kind == StationKind::Turned) camera.turn = turnOfCameraType(record.cameraType);
    if (!record.model) return camera;
    const ImageSize nominal = getImageDimention(record.path);
    camera.size = workingSize(record.cameraType, nominal);
    camera.projection = Projection(*record.model, record.cameraType, nominal, camera.size);
    camera.blending = Blending(edgesOf(record, kind), camera.size,
                               blendWidth(*record.model, nominal, camera.size));
    for (const Pixel& pixel : cornerPixels(record, camera.projection, camera.size)) {
        camera.corners.push_back(camera.projection.directionTo(pixel));
    }
    camera.seesAnything = true;
    return camera;
}

}  // namespace brisko
