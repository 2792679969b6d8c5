#pragma once

#include "rvx_scan_colorizer/camera_model.h"

#include <optional>
#include <string>

/// The text files of a station. A carriage return before the line feed is not part of a line. Each
/// reader throws FileFailure when its file cannot be opened.
namespace brisko {

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
