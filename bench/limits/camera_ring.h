#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

/// The cameras that both sides of the colour rows use: three rings of photos around the scanner, so that
/// a point meets some three boxes and two photos.
namespace brisko::limits::ring {

inline constexpr std::uint32_t kPhotos = 60, kRings = 3;
inline constexpr std::uint32_t kNominalWidth = 2560, kNominalHeight = 1920;  // pixels
inline constexpr double kPixel = 0.0022;                                     // mm, nominal
inline constexpr double kHalfView = 0.42;                                    // radians
inline constexpr std::array<double, 3> kPlace = {20, -35, 10};               // mm, on the head
inline constexpr double kSensorWidth = kNominalWidth * kPixel;               // mm
inline constexpr double kSensorHeight = kNominalHeight * kPixel;
inline const double kFocalLength = kSensorWidth / 2 / std::tan(kHalfView);

/// Where a photo looks: degrees, azimuth counter-clockwise from +x.
inline double azimuthOf(std::uint32_t photo) {
    constexpr std::uint32_t kAround = kPhotos / kRings;
    return (photo % kAround + 0.5 * (photo / kAround)) * 360.0 / kAround;
}
inline double elevationOf(std::uint32_t photo) {
    return -28.0 + 32.0 * (photo / (kPhotos / kRings));
}
inline double radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

}  // namespace brisko::limits::ring
