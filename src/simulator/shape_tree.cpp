#include "simulator/shape_tree.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace brisko::simulator {

namespace {

constexpr std::size_t kLeafShapes = 2;
// Halving at every level, 2^31 shapes fit; a ray keeps one waiting node a level.
constexpr std::size_t kDeepest = 32;

}  // namespace

ShapeTree::ShapeTree(std::vector<Shape> shapes)
    : m_shapes(std::move(shapes)), m_order(m_shapes.size()) {
    std::iota(m_order.begin(), m_order.end(), std::size_t{0});
    m_nodes.reserve(2 * m_shapes.size());
    if (!m_shapes.empty()) build(0, m_shapes.size());
}

void ShapeTree::build(std::size_t begin, std::size_t end) {
    const Bounds bounds = boundsOf(begin, end);
    const std::size_t self = m_nodes.size();
    m_nodes.push_back(
        {bounds, static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end - begin)});
    if (end - begin <= kLeafShapes) return;
    sortAlongLongestEdge(bounds, begin, end);
    const std::size_t middle = begin + (end - begin) / 2;
    build(begin, middle);
    m_nodes[self].first = static_cast<std::uint32_t>(m_nodes.size());
    m_nodes[self].count = 0;
    build(middle, end);
}

Bounds ShapeTree::boundsOf(std::size_t begin, std::size_t end) const {
    Bounds bounds;
    for (std::size_t i = begin; i < end; ++i)
        bounds.include(m_shapes[m_order[i]].bounds());
    return bounds;
}

void ShapeTree::sortAlongLongestEdge(const Bounds& bounds, std::size_t begin, std::size_t end) {
    const Vector3 size = bounds.high - bounds.low;
    double Vector3::*axis = &Vector3::x;
    if (size.y > size.*axis) axis = &Vector3::y;
    if (size.z > size.*axis) axis = &Vector3::z;
    const auto centre = [&](std::size_t shape) {
        const Bounds own = m_shapes[shape].bounds();
        return own.low.*axis + own.high.*axis;
    };
    std::sort(m_order.begin() + static_cast<std::ptrdiff_t>(begin),
              m_order.begin() + static_cast<std::ptrdiff_t>(end),
              [&](std::size_t a, std::size_t b) {
                  // Equal centres keep the order of the list, so that the tree is always the same.
                  return std::pair(centre(a), a) < std::pair(centre(b), b);
              });
}

ShapeTree::Found ShapeTree::first(const Ray& ray) const {
    Found found;
    if (m_nodes.empty()) return found;
    struct Waiting {
        std::size_t node;
        double entry;
    };
    std::array<Waiting, kDeepest> waiting{};
    std::size_t depth = 0;
    waiting[depth++] = {0, m_nodes[0].bounds.entry(ray)};
    while (depth > 0) {
        const Waiting next = waiting[--depth];
        if (!(next.entry < found.crossing.distance)) continue;
        const Node& node = m_nodes[next.node];
        for (std::size_t i = node.first; i < node.first + node.count; ++i) {
            const Crossing crossing = m_shapes[m_order[i]].cross(ray);
            if (crossing.distance < found.crossing.distance) found = {m_order[i], crossing};
        }
        if (node.count > 0) continue;
        Waiting near{next.node + 1, m_nodes[next.node + 1].bounds.entry(ray)};
        Waiting far{node.first, m_nodes[node.first].bounds.entry(ray)};
        if (far.entry < near.entry) std::swap(near, far);
        if (far.entry < found.crossing.distance) waiting[depth++] = far;
        if (near.entry < found.crossing.distance) waiting[depth++] = near;
    }
    return found;
}

}  // namespace brisko::simulator
