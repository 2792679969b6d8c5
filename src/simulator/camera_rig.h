#pragma once

#include "simulator/geometry.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace brisko::simulator {

/// A place in the picture plane: millimetres from the principal point, right and up.
struct PicturePlace {
    double right = 0, up = 0;
};

/// How a lens bends the picture: radial and tangential terms in powers of millimetres.
struct Lens {
    double k1 = 0, k2 = 0, k3 = 0;
    double p1 = 0, p2 = 0;

    /// Where a point appears that a lens without distortion would show at `ideal`.
    PicturePlace shown(const PicturePlace& ideal) const;
    /// The way back, found step by step; only for places that the lens reaches.
    PicturePlace ideal(const PicturePlace& shown) const;
};

/// What takes the photos, and which files describe it.
enum class PhotoKind {
    Classic,  // one camera
    Newer,    // one camera on a carrier
    W30,      // the camera whose photos begin with W, a photo every 30 degrees
    W60,
    T30,  // the same with T
    T60,
    Offset,  // W at a station with an offset: photos stored upright
    Own,     // every photo brings the place and the calibration of its camera
};

/// By the names that the command line takes.
const std::map<std::string, PhotoKind>& photoKinds();
std::string nameOf(PhotoKind kind);

/// How the calibration is written down.
enum class CalibrationFile { Classic, Paired, Newer, WithPhoto };

/// How a photo lies in its file.
enum class StoredTurn {
    Upright,
    Quarter,  // turned to the right
    Half,
};

/// A camera and the round of photos that it takes. Lengths are millimetres, angles degrees.
struct CameraRig {
    const char* fileName = "";      // of the calibration, in the project folder
    const char* photosBegin = "P";  // their names do

    double pitch = 0;                  // from pixel to pixel
    double distance = 0;               // principal distance
    double fromLeft = 0, fromTop = 0;  // of the principal point, in the upright picture
    Lens lens;
    Vector3 place;                            // of the camera, on its carrier or on the head
    Vector3 angles = {90, -90, 0};            // omega, phi, kappa; these look ahead
    Vector3 carrierPlace{}, carrierAngles{};  // on the head
    std::size_t recordWords = 0;              // of a photo's ".kin"
    double elevations[2] = {28, -28};         // of the rounds

    CalibrationFile file = CalibrationFile::Classic;
    StoredTurn turn = StoredTurn::Upright;
    std::uint32_t columns = 1200, rows = 1600;  // of the upright sensor
    std::int32_t modelCode = 0;                 // 0 and 2: radial terms only
    int step = 0;                               // 30 or 60; 0: no file says
    std::uint32_t photosAround = 8;
    bool hasCarrier = false;
    bool isLevelled = false;  // files of the photos hold how the scanner leaned
    bool hasOffset = false;   // the project has an offset file
};

const CameraRig& rigOf(PhotoKind kind);

}  // namespace brisko::simulator
