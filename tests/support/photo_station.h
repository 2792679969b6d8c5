#pragma once

#include "support/scan_bytes.h"
#include "support/temp_folder.h"

#include <array>
#include <functional>
#include <string>
#include <vector>

/// Builds stations with photos, file by file and without the library.
namespace brisko::test {

using Rgb = std::array<std::uint8_t, 3>;
using Painter = std::function<Rgb(int column, int row)>;

/// A JPEG in the best quality. Flat greys come back exactly, flat colours within 2.
Bytes jpegBytes(int width, int height, const Painter& painter);
inline Rgb grey(int value) {
    const auto byte = static_cast<std::uint8_t>(value);
    return {byte, byte, byte};
}
inline Bytes jpegBytes(int width, int height, const Rgb& flat) {
    return jpegBytes(width, height, [flat](int, int) { return flat; });
}

/// Rows of a 3x3 matrix.
using Rows3 = std::array<std::array<double, 3>, 3>;

/// The axes of a camera that looks along the head's +x: right is -y, up is +z, backwards is -x.
inline constexpr Rows3 kForwardAxes = {{{0, 0, -1}, {-1, 0, 0}, {0, 1, 0}}};
/// The same as angles omega, phi, kappa in degrees.
inline constexpr std::array<double, 3> kForwardAngles = {90, -90, 0};

/// What a calibration file says. Lengths in millimetres.
struct CalibrationText {
    double f = 10, x0 = 0, y0 = 0;
    std::int32_t code = 0;
    std::vector<double> coefficients = {};
    double px = 0.01, py = 0.01;
    std::array<double, 3> position{};
    Rows3 axes = kForwardAxes;
    std::array<double, 3> angles = kForwardAngles;  // of a classic file
    std::array<double, 3> carrierPosition{};
    Rows3 carrierAxes = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
};
Bytes classicCalibration(const CalibrationText& text);
Bytes pairedCalibration(const CalibrationText& text);
Bytes newerCalibration(const CalibrationText& text);

/// An ".ang" file, degrees.
Bytes angleFile(double horizontal, double tilt);

/// A project folder with one scan folder in it.
class PhotoStation {
public:
    PhotoStation();

    std::string scanFolder() const { return m_folder / "scan"; }
    std::string inScan(const std::string& name) const { return m_folder / ("scan/" + name); }
    std::string inProject(const std::string& name) const { return m_folder / name; }

    /// A photo NAME.jpg with its NAME.ang, degrees.
    void addPhoto(const std::string& name, const Bytes& jpeg, double horizontal = 0,
                  double tilt = 0) const;

private:
    TempFolder m_folder;
};

/// A classic camera with its principal point in the middle: 1200 x 1600 pixels of 0.01 mm, principal
/// distance 10 mm. Shares of its photos grow over 200 of these pixels.
class ClassicStation : public PhotoStation {
public:
    ClassicStation() { writeFile(inProject("camcal"), classicCalibration({.x0 = 6, .y0 = 8})); }
    void addFlat(const std::string& name, int value, double horizontal = 0) const {
        addPhoto(name, jpegBytes(1200, 1600, grey(value)), horizontal);
    }
    /// Small photos all around, each of another grey.
    void addRing(int darkest) const {
        for (int i = 0; i < 12; ++i) {
            addPhoto("p" + std::to_string(10 + i), jpegBytes(120, 160, grey(darkest + 12 * i)),
                     -180 + 30 * i);
        }
    }
};

}  // namespace brisko::test
