#pragma once

#include "simulator/geometry.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace brisko::simulator {

inline constexpr double kNoHit = std::numeric_limits<double>::infinity();

/// A half line. `direction` has length 1.
struct Ray {
    Ray(const Vector3& from, const Vector3& towards);

    Vector3 origin;
    Vector3 direction;
    Vector3 inverse;  // 1 / direction, finite where the direction has a zero
};

/// The space between two corners, edges along the axes.
struct Bounds {
    Vector3 low{kNoHit, kNoHit, kNoHit};
    Vector3 high{-kNoHit, -kNoHit, -kNoHit};

    void include(const Bounds& other);
    /// The distance at which a ray enters (0 from inside), kNoHit when it passes by.
    double entry(const Ray& ray) const;
};

/// Where a ray meets a shape.
struct Crossing {
    double distance = kNoHit;  // metres
    int face = 0;              // which part of the shape
};

/// What a shape is like at a crossing.
struct Contact {
    Vector3 normal;  // of length 1, outwards
    double u = 0;    // metres along the surface, for textures
    double v = 0;
};

/// A body of the scene. Shapes may touch and overlap.
class Shape {
public:
    /// Edges along the axes.
    static Shape box(const Vector3& low, const Vector3& high);
    static Shape sphere(const Vector3& centre, double radius);
    /// Upright, closed at both ends.
    static Shape cylinder(const Vector3& foot, double radius, double height);
    /// A parallelogram; both sides can be seen.
    static Shape panel(const Vector3& corner, const Vector3& edgeU, const Vector3& edgeV);

    Bounds bounds() const;
    /// The first crossing after the ray's origin.
    Crossing cross(const Ray& ray) const;
    Contact contact(const Crossing& crossing, const Vector3& place) const;

private:
    enum class Kind : std::uint8_t { Box, Sphere, Cylinder, Panel };

    Shape(Kind kind, const Vector3& a, const Vector3& b, const Vector3& c = {});

    Crossing crossBox(const Ray& ray) const;
    Crossing crossSphere(const Ray& ray) const;
    Crossing crossCylinder(const Ray& ray) const;
    Crossing crossPanel(const Ray& ray) const;

    Kind m_kind;
    // Box: low and high corner. Sphere: centre and radius (x). Cylinder: foot, then radius (x) and
    // height (y). Panel: corner and edges.
    Vector3 m_a, m_b, m_c;
};

/// Finds the first of many shapes that a ray meets, by way of a tree of bounding boxes.
class ShapeTree {
public:
    static constexpr std::size_t kNothing = static_cast<std::size_t>(-1);

    explicit ShapeTree(std::vector<Shape> shapes);

    struct Found {
        std::size_t shape = kNothing;  // its place in the list given
        Crossing crossing;
    };
    Found first(const Ray& ray) const;

    const Shape& shape(std::size_t index) const { return m_shapes[index]; }

private:
    struct Node {
        Bounds bounds;
        std::uint32_t first = 0;  // of a leaf: into m_order; else the second child
        std::uint32_t count = 0;  // shapes of a leaf, 0 for a branch, whose first child comes next
    };

    void build(std::size_t begin, std::size_t end);
    Bounds boundsOf(std::size_t begin, std::size_t end) const;
    void sortAlongLongestEdge(const Bounds& bounds, std::size_t begin, std::size_t end);

    std::vector<Shape> m_shapes;
    std::vector<std::size_t> m_order;
    std::vector<Node> m_nodes;
};

}  // namespace brisko::simulator
