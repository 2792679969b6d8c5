#pragma once

#include "rvx_scan_colorizer/camera_model.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

/// The files that say how photos were taken; docs/formats/camera_files.md describes their layouts. A
/// binary file that ends early leaves the rest of its fields 0. In a text file a carriage return before
/// the line feed is not part of the line. Each reader throws FileFailure when its file cannot be opened.
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

/// The first line; nothing when the file is empty.
std::optional<std::string> readFirstLine(const std::string& path);

/// The camera step that a "camera_cfg" file sets: 30 or 60.
int readCameraStep(const std::string& path);

/// A ".cmr" file: pixel size (micrometres) on the first line; then f, x0, y0 (millimetres) and up to
/// five coefficients, parted by blanks or line ends. What is missing is 0. Throws FileFailure also
/// when the first line does not begin with a number.
CameraModel readCameraText(const std::string& path);

/// An ".ext" file: position (metres), then omega, phi, kappa (degrees), in the scanner's frame.
CameraPose readExteriorText(const std::string& path);

}  // namespace brisko
