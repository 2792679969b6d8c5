#pragma once

#include "rvx_scan_colorizer/matrix3.h"

namespace brisko {

/// Where a frame lies in the scanner's frame: takes scanner-frame points, millimetres, into it.
struct CameraPose {
    Matrix3 rotation;
    Vector3 offset{0, 0, 0};  // millimetres

    /// The head that carries the camera. The horizontal angle is counter-clockwise from +x seen from
    /// above, the tilt positive upwards, both radians: the head's own x axis points there. Levelling
    /// takes the scanner's frame to the frame in which the angles were taken.
    static CameraPose ofHead(double horizontal, double tilt, const Matrix3& levelling) {
        return {rotationY(tilt) * (rotationZ(-horizontal) * levelling), {0, 0, 0}};
    }

    /// A frame inside this one: its origin (millimetres) and its axes, the columns of the matrix.
    CameraPose inside(const Vector3& origin, const Matrix3& axes) const {
        const Matrix3 into = axes.transposed();
        const Vector3 shifted = {offset[0] - origin[0], offset[1] - origin[1],
                                 offset[2] - origin[2]};
        return {into * rotation, into * shifted};
    }

    /// A direction of this frame in the scanner's frame.
    Vector3 toScanner(const Vector3& direction) const { return rotation.transposed() * direction; }
};

/// Axes turned by three angles in radians, first about x, then about the new y, then the new z.
inline Matrix3 axesFromAngles(double omega, double phi, double kappa) {
    return rotationX(omega) * (rotationY(phi) * rotationZ(kappa));
}

}  // namespace brisko
