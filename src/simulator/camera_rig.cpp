#include "simulator/camera_rig.h"

#include <cmath>

namespace brisko::simulator {

PicturePlace Lens::shown(const PicturePlace& ideal) const {
    const auto [u, v] = ideal;
    const double r2 = u * u + v * v;
    const double radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
    return {u * radial + p1 * (r2 + 2 * u * u) + 2 * p2 * u * v,
            v * radial + p2 * (r2 + 2 * v * v) + 2 * p1 * u * v};
}

PicturePlace Lens::ideal(const PicturePlace& shown) const {
    constexpr int kMostSteps = 50;
    constexpr double kTolerance = 1e-9;  // millimetres, far below any pixel
    PicturePlace ideal = shown;
    for (int step = 0; step < kMostSteps; ++step) {
        const PicturePlace reached = this->shown(ideal);
        const double right = reached.right - shown.right, up = reached.up - shown.up;
        if (std::abs(right) + std::abs(up) < kTolerance) break;
        // Newton's step: the derivatives of both coordinates by both.
        const auto [u, v] = ideal;
        const double r2 = u * u + v * v;
        const double radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
        const double slope = 2 * (k1 + r2 * (2 * k2 + r2 * 3 * k3));
        const double rightByU = radial + u * u * slope + 6 * p1 * u + 2 * p2 * v;
        const double upByV = radial + v * v * slope + 6 * p2 * v + 2 * p1 * u;
        const double mixed = u * v * slope + 2 * p1 * v + 2 * p2 * u;
        const double determinant = rightByU * upByV - mixed * mixed;
        ideal.right -= (right * upByV - up * mixed) / determinant;
        ideal.up -= (up * rightByU - right * mixed) / determinant;
    }
    return ideal;
}

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

/// The cameras whose photos begin with W and T have the same kind of sensor. Their principal point is
/// given from its middle.
constexpr CameraRig paired(CameraRig rig) {
    rig.file = CalibrationFile::Paired;
    rig.columns = 2560;
    rig.rows = 1920;
    rig.pitch = 0.0022;
    rig.fromLeft += 2.816;
    rig.fromTop += 2.112;
    rig.recordWords = 38;
    return rig;
}

constexpr CameraRig kW30 = paired({
    .fileName = "camcalW",
    .photosBegin = "W",
    .distance = 2.3,
    .fromLeft = 0.03,
    .lens = {.k1 = -6e-3, .k2 = 2e-4, .p1 = 2e-4, .p2 = -1.5e-4},
    .place = {40, 15, 30},
    .angles = {90.3, -89.6, -0.5},
    // Only the upper half of a photo is its view, so the rounds lie lower than their views.
    .elevations = {22, -30},
    .turn = StoredTurn::Half,
    .modelCode = 1,
    .step = 30,
    .photosAround = 12,
});

constexpr CameraRig kW60 = paired({
    .fileName = "camcalW",
    .photosBegin = "W",
    .distance = 2.9,
    .fromTop = -0.04,
    .lens = {.k1 = -5e-3, .k2 = 1.5e-4, .k3 = -2e-6},
    .place = {30, -25, 42},
    .angles = {89.4, -90.5, 0.6},
    .turn = StoredTurn::Half,
    .modelCode = 2,
    .step = 60,
    .photosAround = 6,
    .isLevelled = true,
});

constexpr CameraRig kT30 = paired({
    .fileName = "camcalT",
    .photosBegin = "T",
    .distance = 4.0,
    .fromLeft = -0.05,
    .lens = {.k1 = 3e-3, .k2 = -5e-5, .p1 = -1e-4, .p2 = 2e-4},
    .place = {-20, 28, 45},
    .angles = {90.8, -90.2, 0.3},
    .elevations = {24, -24},
    .turn = StoredTurn::Half,
    .modelCode = 1,
    .step = 30,
    .photosAround = 12,
});

constexpr CameraRig kT60 = paired({
    .fileName = "camcalT",
    .photosBegin = "T",
    .distance = 3.0,
    .fromTop = 0.05,
    .lens = {.k1 = -4e-3, .k2 = 1e-4},
    .place = {25, 18, -30},
    .angles = {89.7, -89.1, -0.4},
    .turn = StoredTurn::Half,
    .modelCode = 2,
    .step = 60,
    .photosAround = 6,
    .isLevelled = true,
});

constexpr CameraRig kOffset = paired({
    .fileName = "camcalW",
    .photosBegin = "W",
    .distance = 2.4,
    .fromLeft = 0.02,
    .fromTop = 0.03,
    .lens = {.k1 = -5.5e-3, .k2 = 1.8e-4, .p1 = -1.5e-4, .p2 = 1e-4},
    .place = {32, -18, 38},
    .angles = {90.4, -90.6, 0.8},
    .elevations = {22, -30},
    .modelCode = 1,
    .photosAround = 12,
    .hasOffset = true,
});

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
    static constexpr CameraRig kRigs[] = {kClassic, kNewer, kW30, kW60, kT30, kT60, kOffset, kOwn};
    return kRigs[static_cast<std::size_t>(kind)];
}

}  // namespace brisko::simulator
