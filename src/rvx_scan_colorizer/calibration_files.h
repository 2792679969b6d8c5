#pragma once

#include "rvx_scan_colorizer/camera_model.h"
#include "rvx_scan_colorizer/matrix3.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

/// The binary files that calibrate a camera; docs/formats/camera_files.md tells their layouts. A file
/// that ends early leaves the rest of its fields 0. Each reader throws FileFailure when its file
/// cannot be opened.
namespace brisko {

/// A file of the station could not be used. Like all of the colouriser's failures it has no message;
/// the path is for reports on a station.
class FileFailure : public std::exception {
public:
    explicit FileFailure(std::string path) : m_path(std::move(path)) {}
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

/// Where a part is mounted on another: its origin, millimetres, and its axes, the columns.
struct Mounting {
    Vector3 origin{0, 0, 0};
    Matrix3 axes;
};

struct Calibration {
    CameraModel camera;               // its pose is not set
    Mounting mounting;                // of the camera on the head, or on the carrier
    std::optional<Mounting> carrier;  // of the carrier on the head
};

/// In which fields calibration files differ.
struct CalibrationLayout {
    std::int64_t leastCoefficients = 0;  // the block of coefficients has room for so many
    bool axesAreAngles = false;          // three angles, not nine numbers
    bool hasCarrier = false;
};
inline constexpr CalibrationLayout kClassicLayout = {.axesAreAngles = true};
inline constexpr CalibrationLayout kPairedLayout = {.leastCoefficients = 10};
inline constexpr CalibrationLayout kNewerLayout = {.hasCarrier = true};

Calibration readCalibration(const std::string& path, const CalibrationLayout& layout);

/// An ".ang" file: radians.
struct HeadAngles {
    double horizontal = 0;
    double tilt = 0;
};
HeadAngles readHeadAngles(const std::string& path);

/// A ".tor" file.
Matrix3 readLevelling(const std::string& path);

/// A ".kin" file of so many values. Kept, but nothing is derived from it.
using StationRecord = std::vector<std::int32_t>;
StationRecord readStationRecord(const std::string& path, std::size_t values);

}  // namespace brisko
