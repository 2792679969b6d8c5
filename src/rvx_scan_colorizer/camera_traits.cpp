#include "rvx_scan_colorizer/camera_traits.h"

namespace brisko {

namespace {

constexpr ImageSize kPortraitSensor = {1200, 1600};
constexpr int kUsualMargin = 10;
constexpr std::size_t kPairedRecord = 38;

// Cameras of this kind are calibrated for photos smaller than those they store.
constexpr WorkingSize kReducedSizes[] = {
    {1280, {400, 300}},
    {2560, {800, 600}},
    {0, {200, 150}},
};

// Names are tried from the top, and the first match wins: "ncamcal" stands above the "camcal" in it.
constexpr std::array<CameraTraits, kCameraKinds> kTraits = {{
    {
        .kind = CameraKind::Newer,
        .calibration = "ncamcal",
        .calibrationInCapitals = "NCAMCAL",
        .layout = kNewerLayout,
        .stationRecord = 26,
        .needsStationRecord = true,
        .sensor = kPortraitSensor,
        .margin = kUsualMargin,
        .turn = Turn::Quarter,
    },
    {
        .kind = CameraKind::T,
        .calibration = "camcalT",
        .calibrationInCapitals = "CAMCALT",
        .layout = kPairedLayout,
        .photosBegin = 'T',
        .stationRecord = kPairedRecord,
        .workingSizes = kReducedSizes,
    },
    {
        .kind = CameraKind::W,
        .calibration = "camcalW",
        .calibrationInCapitals = "CAMCALW",
        .layout = kPairedLayout,
        .photosBegin = 'W',
        .stationRecord = kPairedRecord,
        .readsStationRecordAtOffset = false,
        .upperHalfStep = 30,
        .rightEdgeBlends = false,
    },
    {
        .kind = CameraKind::Classic,
        .calibration = "camcal",
        .calibrationInCapitals = "CAMCAL",
        .layout = kClassicLayout,
        .sensor = kPortraitSensor,
        .margin = kUsualMargin,
        .turn = Turn::Quarter,
    },
}};

constexpr bool standInOrder() {
    for (std::size_t i = 0; i < kCameraKinds; ++i) {
        if (static_cast<std::size_t>(kTraits[i].kind) != i) return false;
    }
    return true;
}
static_assert(standInOrder());

}  // namespace

ImageSize CameraTraits::workingSize(const ImageSize& stored) const {
    for (const WorkingSize& working : workingSizes) {
        if (working.photoWidth == stored.width || working.photoWidth == 0) return working.size;
    }
    return stored;
}

const std::array<CameraTraits, kCameraKinds>& allCameraTraits() {
    return kTraits;
}

const CameraTraits& traitsOf(CameraKind kind) {
    return kTraits[static_cast<std::size_t>(kind)];
}

CameraKind kindOfPixels(double pixelSize) {
    constexpr double kFinestOfSingle = 0.005, kCoarsestOfSingle = 0.02;
    if (pixelSize < kFinestOfSingle) return CameraKind::W;
    return pixelSize > kCoarsestOfSingle ? CameraKind::T : CameraKind::Classic;
}

}  // namespace brisko
