#pragma once

#include "simulator/geometry.h"
#include "simulator/scene.h"

#include <cstddef>
#include <string>
#include <vector>

namespace brisko::simulator {

/// Bodies of a scene under construction. `material` is a place in the scene's list.
class BodyList {
public:
    void addBox(std::size_t material, const Vector3& low, const Vector3& high) {
        m_bodies.push_back({Shape::box(low, high), material});
    }
    void addSphere(std::size_t material, const Vector3& centre, double radius) {
        m_bodies.push_back({Shape::sphere(centre, radius), material});
    }
    void addCylinder(std::size_t material, const Vector3& foot, double radius, double height) {
        m_bodies.push_back({Shape::cylinder(foot, radius, height), material});
    }
    void addPanel(std::size_t material, const Vector3& corner, const Vector3& edgeU,
                  const Vector3& edgeV) {
        m_bodies.push_back({Shape::panel(corner, edgeU, edgeV), material});
    }

    const std::vector<Body>& bodies() const { return m_bodies; }

private:
    std::vector<Body> m_bodies;
};

/// A scene and the scanner set up in it. World frame: metres, the ground at z = 0, z up.
/// The scanner leans by about a degree, as they do: enough for every element of its rotation to keep
/// all its digits in the fixed-point text of an alignment file.
struct Station {
    Scene scene;
    Pose pose;
};

/// A paved yard between a brick house, an arcade and two walls, under open sky.
Station makeCourtyard();
/// A furnished room, closed all around.
Station makeRoom();

/// "courtyard" or "room".
Station makeStation(const std::string& name);

}  // namespace brisko::simulator
