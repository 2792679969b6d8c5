#pragma once

#include "simulate/vector3.h"

namespace brisko::tool {

/// How the scanner stands in the world: world = rotation * scanner + position.
class Pose {
public:
    /// The rotations follow one another: roll about x, pitch about y, then heading about z, degrees.
    Pose(const Vector3& position, double heading, double pitch, double roll);

    const Vector3& position() const { return m_position; }
    /// Turns a direction of the scanner's frame into the world.
    Vector3 toWorld(const Vector3& direction) const {
        return {dot(m_rows[0], direction), dot(m_rows[1], direction), dot(m_rows[2], direction)};
    }
    /// The 4x4 matrix from the scanner's frame to the world, row by row.
    void fillMatrix(double (&matrix)[16]) const;

private:
    Vector3 m_rows[3];
    Vector3 m_position;
};

}  // namespace brisko::tool
