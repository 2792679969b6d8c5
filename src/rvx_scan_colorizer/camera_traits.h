#pragma once

#include "rvx_scan_colorizer/calibration_files.h"
#include "rvx_scan_colorizer/decoded_image.h"
#include "rvx_scan_colorizer/jpeg_file.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace brisko {

/// The kinds of camera, in the order in which the names of calibration files are tried.
enum class CameraKind {
    Newer,    // one camera, on a carrier
    T,        // of a pair: its photos begin with T
    W,        // of a pair: its photos begin with W
    Classic,  // one camera; also of photos whose camera is not known
};
inline constexpr std::size_t kCameraKinds = 4;

/// The working frame of photos of a certain width.
struct WorkingSize {
    int photoWidth = 0;  // 0: any
    ImageSize size;
};

/// All in which one kind of camera differs from another. A new kind is a row in the table of these and,
/// where its calibration file has fields of its own, a CalibrationLayout.
struct CameraTraits {
    CameraKind kind;

    // Its calibration in the project folder: the name contains one of the two spellings.
    std::string_view calibration, calibrationInCapitals;
    CalibrationLayout layout;
    char photosBegin = 0;                    // first letter of the names of its photos; 0: any
    std::size_t stationRecord = 0;           // values of a photo's ".kin" file; 0: it is not read
    bool needsStationRecord = false;         // takes only photos that have one
    bool readsStationRecordAtOffset = true;  // at a station with an offset line

    ImageSize sensor = {2560, 1920};  // the pixels that the pitches of a calibration speak of
    int margin = 0;                   // stored pixels along each edge that are not used
    std::span<const WorkingSize> workingSizes = {};  // the first that fits; none: as stored
    Turn turn = Turn::Half;                          // at stations that turn photos
    int upperHalfStep = 0;        // the camera step at which only the upper half is the view
    bool rightEdgeBlends = true;  // photos fade towards their right edge, too

    bool showsUpperHalf(int cameraStep) const { return cameraStep == upperHalfStep; }
    ImageSize workingSize(const ImageSize& stored) const;
};

/// The rows, in the order of the enumeration.
const std::array<CameraTraits, kCameraKinds>& allCameraTraits();
const CameraTraits& traitsOf(CameraKind kind);

/// The kind of a camera of which only the size of its pixels (millimetres) is known.
CameraKind kindOfPixels(double pixelSize);

}  // namespace brisko
