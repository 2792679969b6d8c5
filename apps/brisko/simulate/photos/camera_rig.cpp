#include "simulate/photos/camera_rig.h"

namespace brisko::tool {

namespace {

// Every kind has a lens, a place and a principal point of its own, so that none can be taken for
// another. Cameras sit a few centimetres off the scanner's centre, as cameras do.
constexpr CameraRig kClassic = {
    .fileName = "camcal",
    .photosBegin = "C",
    .pitch = 0.0076,
    .distance = 7.2,
    .fromLeft = 4.65,
    .fromTop = 6.02,
    .lens = {.k1 = -1.2e-3, .k2 = 8e-6},
    .place = {35, -22, 48},
    .angles = {90.6, -89.3, 0.4},
    .turn = StoredTurn::Quarter,
};

constexpr CameraRig kNewer = {
    .fileName = "ncamcal",
    .photosBegin = "N",
    .pitch = 0.0088,
    .distance = 8.1,
    .fromLeft = 5.21,
    .fromTop = 7.12,
    .lens = {.k1 = -7e-4, .k2 = 4e-6, .p1 = 8e-5, .p2 = -6e-5},
    .place = {18, -12, 25},
    .angles = {89.5, -90.4, -0.7},
    .carrierPlace = {20, 5, 30},
    .carrierAngles = {0.5, -0.8, 1.2},
    .recordWords = 26,
    .file = CalibrationFile::Newer,
    .turn = StoredTurn::Quarter,
    .modelCode = 1,
    .hasCarrier = true,
    .isLevelled = true,
};

/// The cameras whose photos begin with W and T have the same kind of sensor.
constexpr CameraRig pairedRig(const char* fileName, const char* photosBegin) {
    CameraRig rig;
    rig.file = CalibrationFile::Paired;
    rig.fileName = fileName;
    rig.photosBegin = photosBegin;
    rig.turn = StoredTurn::Half;
    rig.columns = 2560;
    rig.rows = 1920;
    rig.pitch = 0.0022;
    rig.fromLeft = 2.816;
    rig.fromTop = 2.112;
    rig.recordWords = 38;
    return rig;
}

constexpr CameraRig w30() {
    CameraRig rig = pairedRig("camcalW", "W");
    rig.distance = 2.3;
    rig.fromLeft += 0.03;
    rig.modelCode = 1;
    rig.lens = {.k1 = -6e-3, .k2 = 2e-4, .p1 = 2e-4, .p2 = -1.5e-4};
    rig.place = {40, 15, 30};
    rig.angles = {90.3, -89.6, -0.5};
    rig.step = 30;
    rig.photosAround = 12;
    // Only the upper half of a photo is its view, so the rounds lie lower than their views.
    rig.elevations[0] = 22;
    rig.elevations[1] = -30;
    return rig;
}

constexpr CameraRig w60() {
    CameraRig rig = pairedRig("camcalW", "W");
    rig.distance = 2.9;
    rig.fromTop -= 0.04;
    rig.modelCode = 2;
    rig.lens = {.k1 = -5e-3, .k2 = 1.5e-4, .k3 = -2e-6};
    rig.place = {30, -25, 42};
    rig.angles = {89.4, -90.5, 0.6};
    rig.isLevelled = true;
    rig.step = 60;
    rig.photosAround = 6;
    return rig;
}

constexpr CameraRig t30() {
    CameraRig rig = pairedRig("camcalT", "T");
    rig.distance = 4.0;
    rig.fromLeft -= 0.05;
    rig.modelCode = 1;
    rig.lens = {.k1 = 3e-3, .k2 = -5e-5, .p1 = -1e-4, .p2 = 2e-4};
    rig.place = {-20, 28, 45};
    rig.angles = {90.8, -90.2, 0.3};
    rig.step = 30;
    rig.photosAround = 12;
    rig.elevations[0] = 24;
    rig.elevations[1] = -24;
    return rig;
}

constexpr CameraRig t60() {
    CameraRig rig = pairedRig("camcalT", "T");
    rig.distance = 3.0;
    rig.fromTop += 0.05;
    rig.modelCode = 2;
    rig.lens = {.k1 = -4e-3, .k2 = 1e-4};
    rig.place = {25, 18, -30};
    rig.angles = {89.7, -89.1, -0.4};
    rig.isLevelled = true;
    rig.step = 60;
    rig.photosAround = 6;
    return rig;
}

constexpr CameraRig offset() {
    CameraRig rig = pairedRig("camcalW", "W");
    rig.turn = StoredTurn::Upright;
    rig.distance = 2.4;
    rig.fromLeft += 0.02;
    rig.fromTop += 0.03;
    rig.modelCode = 1;
    rig.lens = {.k1 = -5.5e-3, .k2 = 1.8e-4, .p1 = -1.5e-4, .p2 = 1e-4};
    rig.place = {32, -18, 38};
    rig.angles = {90.4, -90.6, 0.8};
    rig.hasOffset = true;
    rig.photosAround = 12;
    rig.elevations[0] = 22;
    rig.elevations[1] = -30;
    return rig;
}

constexpr CameraRig kOwn = {
    .photosBegin = "P",
    .pitch = 0.0074,
    .distance = 7.0,
    .fromLeft = 4.38,
    .fromTop = 5.98,
    .lens = {.k1 = -1e-3, .k2 = 6e-6, .k3 = -1e-8, .p1 = 1e-4, .p2 = 5e-5},
    .place = {45, 20, 35},
    .angles = {90.2, -89.5, -0.9},
    .file = CalibrationFile::WithPhoto,
    .modelCode = 1,
};

}  // namespace

const std::map<std::string, PhotoKind>& photoKinds() {
    static const std::map<std::string, PhotoKind> kinds = {
        {"classic", PhotoKind::Classic}, {"newer", PhotoKind::Newer}, {"W30", PhotoKind::W30},
        {"W60", PhotoKind::W60},         {"T30", PhotoKind::T30},     {"T60", PhotoKind::T60},
        {"offset", PhotoKind::Offset},   {"own", PhotoKind::Own},
    };
    return kinds;
}

std::string nameOf(PhotoKind kind) {
    for (const auto& [name, named] : photoKinds()) {
        if (named == kind) return name;
    }
    return {};
}

const CameraRig& rigOf(PhotoKind kind) {
    // In the order of the enumeration.
    static constexpr CameraRig kRigs[] = {kClassic, kNewer, w30(),    w60(),
                                          t30(),    t60(),  offset(), kOwn};
    return kRigs[static_cast<std::size_t>(kind)];
}

}  // namespace brisko::tool
