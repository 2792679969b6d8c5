#pragma once

#include "rvx_scan_colorizer/camera_model.h"
#include "rvx_scan_colorizer/camera_traits.h"
#include "rvx_scan_colorizer/distortion.h"

#include <cstdint>

namespace brisko {

struct Pixel {
    int column = 0;
    int row = 0;
};

/// The nearest whole number, halves upwards.
inline double roundHalfUp(double value) {
    return std::floor(value + 0.5);
}

/// The same of a value that is not negative, as an int; several times as fast.
inline int nearestInt(double value) {
    const double raised = value + 0.5;
    return static_cast<int>(raised);
}

/// From scanner-frame points to pixels of a photo's working frame and back.
class Projection {
public:
    /// Sees nothing.
    Projection() = default;
    Projection(const CameraModel& model, const CameraTraits& traits, const ImageSize& nominal,
               const ImageSize& working);

    /// Where a point appears: x, y, z metres, scanner frame. Returns false when it does not: behind
    /// the camera, in the margin, outside.
    bool project(double x, double y, double z, Pixel& pixel) const {
        x *= 1000;
        y *= 1000;
        z *= 1000;
        const Matrix3& r = m_pose.rotation;
        const double cz = r.rows[2][0] * x + r.rows[2][1] * y + r.rows[2][2] * z + m_pose.offset[2];
        // The camera looks along its negative z axis. Also false for a NaN.
        if (!(cz < -1e-12)) return false;
        const double cx = r.rows[0][0] * x + r.rows[0][1] * y + r.rows[0][2] * z + m_pose.offset[0];
        const double cy = r.rows[1][0] * x + r.rows[1][1] * y + r.rows[1][2] * z + m_pose.offset[1];
        const double scale = -m_principalDistance / cz;
        double u = cx * scale, v = cy * scale;
        if (!m_distortion.apply(u, v)) return false;
        // Rounding to the nearest is cutting what is half a pixel more; below the first pixel
        // nothing is cut, as the margins are tested before.
        const double column = (u + m_originX) / m_pitchX + 0.5;
        const double row = (m_originY - v) / m_pitchY + 0.5;
        if (!(column >= m_firstColumn && column < m_endColumn && row >= m_firstRow &&
              row < m_endRow)) {
            return false;
        }
        pixel = {static_cast<int>(column), static_cast<int>(row)};
        return true;
    }

    /// The direction, a unit vector in the scanner's frame, from the camera to what a pixel shows. A
    /// pixel beyond the reach of the lens shows nothing; it gets the last direction before it, and
    /// `isBeyondReach` becomes true. Throws std::exception, without a message, when the calibration
    /// gives no direction.
    Vector3 directionTo(const Pixel& pixel, bool& isBeyondReach) const;

    int marginX() const { return m_marginX; }
    int marginY() const { return m_marginY; }

private:
    CameraPose m_pose;
    double m_principalDistance = 0;       // millimetres, as all lengths here
    double m_originX = 0, m_originY = 0;  // the principal point, from the corner of the picture
    double m_pitchX = 1, m_pitchY = 1;    // of the working frame
    double m_firstColumn = 0, m_endColumn = 0;  // what the margins leave; nothing, to begin with
    double m_firstRow = 0, m_endRow = 0;
    Distortion m_distortion;
    double m_tolerance = 0;
    int m_marginX = 0, m_marginY = 0;
};

/// The nominal number of pixels across the sensor, by the size of its pixels in millimetres.
int sensorWidth(double pixelSize);

}  // namespace brisko
