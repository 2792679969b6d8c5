#pragma once

#include "simulate/scene.h"

#include <cstddef>
#include <vector>

namespace brisko::tool {

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

}  // namespace brisko::tool
