#pragma once

#include "simulator/shape.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::simulator {

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
