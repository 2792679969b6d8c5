#include "simulator/photo_plan.h"

#include <cmath>
#include <cstdio>

namespace brisko::simulator {

namespace {

/// What remains of the scanner's turn in the world when its heading is taken away.
Rotation levellingOf(const Rotation& inWorld) {
    const double heading = std::atan2(inWorld.x.y, inWorld.x.x) * (180 / std::numbers::pi);
    return rotationAboutZ(-heading) * inWorld;
}

Pose cameraOnHead(const CameraRig& rig) {
    const Pose camera = {rig.place, rotationOf(rig.angles)};
    if (!rig.hasCarrier) return camera;
    return Pose{rig.carrierPlace, rotationOf(rig.carrierAngles)} * camera;
}

/// The head's x axis points to the azimuth and the elevation.
Pose headAt(const Rotation& levelling, double azimuth, double elevation) {
    return {{}, levelling.inverse() * rotationAboutZ(azimuth) * rotationAboutY(-elevation)};
}

std::string photoName(const CameraRig& rig, std::size_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%02zu", number);
    return std::string(rig.photosBegin) + text;
}

}  // namespace

PhotoPlan::PhotoPlan(PhotoKind photoKind, std::uint32_t divisor, const Pose& pose)
    : kind(photoKind),
      rig(rigOf(photoKind)),
      upright{rig.columns / divisor, rig.rows / divisor},
      levelling(rig.isLevelled ? levellingOf(pose.axes) : Rotation{}) {
    const double step = 360.0 / rig.photosAround;
    double start = -175;
    for (const double elevation : rig.elevations) {
        for (std::uint32_t i = 0; i < rig.photosAround; ++i) {
            const double azimuth = std::remainder(start + step * i, 360.0);
            const Pose head = headAt(levelling, azimuth, elevation);
            photos.push_back({photoName(rig, photos.size()), azimuth, elevation,
                              PhotoCamera(rig, upright.columns, head * cameraOnHead(rig))});
        }
        start += step / 2;  // the photos of the next round lie over the edges of these
    }
}

PhotoSize PhotoPlan::stored() const {
    return rig.turn == StoredTurn::Quarter ? PhotoSize{upright.rows, upright.columns} : upright;
}

}  // namespace brisko::simulator
