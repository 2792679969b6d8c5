#include "simulator/shape_tree.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace brisko::simulator {

namespace {

// A ray that starts on a surface does not meet it at once.
constexpr double kNearest = 1e-9;

double finiteInverse(double value) {
    constexpr double kTiny = 1e-30;
    return 1.0 / (std::abs(value) < kTiny ? std::copysign(kTiny, value) : value);
}

/// The first of two crossings of a closed surface that lies after the origin.
double firstAhead(double enter, double leave) {
    if (enter > kNearest) return enter;
    return leave > kNearest ? leave : kNoHit;
}

/// The parts of a ray between two pairs of parallel planes, as they are cut one after another.
struct Slabs {
    double enter = -kNoHit;
    double leave = kNoHit;
    int enterFace = 0;
    int leaveFace = 0;

    void cut(double low, double high, double origin, double inverse, int axis) {
        double first = (low - origin) * inverse;
        double second = (high - origin) * inverse;
        int firstFace = 2 * axis;
        int secondFace = 2 * axis + 1;
        if (first > second) {
            std::swap(first, second);
            std::swap(firstFace, secondFace);
        }
        if (first > enter) {
            enter = first;
            enterFace = firstFace;
        }
        if (second < leave) {
            leave = second;
            leaveFace = secondFace;
        }
    }

    Crossing crossing() const {
        if (enter > leave) return {};
        if (enter > kNearest) return {enter, enterFace};
        return leave > kNearest ? Crossing{leave, leaveFace} : Crossing{};
    }
};

// Faces 2 * axis and 2 * axis + 1 look down and up the axis; boxes and cylinder ends use them.
constexpr int kBottom = 4;
constexpr int kTop = 5;
constexpr int kMantle = 6;

Contact contactOfFace(int face, const Vector3& place) {
    const double side = (face & 1) != 0 ? 1.0 : -1.0;
    switch (face / 2) {
        case 0:
            return {{side, 0, 0}, place.y, place.z};
        case 1:
            return {{0, side, 0}, place.x, place.z};
        default:
            return {{0, 0, side}, place.x, place.y};
    }
}

}  // namespace

Ray::Ray(const Vector3& from, const Vector3& towards)
    : origin(from),
      direction(towards),
      inverse{finiteInverse(towards.x), finiteInverse(towards.y), finiteInverse(towards.z)} {
}

void Bounds::include(const Bounds& other) {
    low = {std::min(low.x, other.low.x), std::min(low.y, other.low.y),
           std::min(low.z, other.low.z)};
    high = {std::max(high.x, other.high.x), std::max(high.y, other.high.y),
            std::max(high.z, other.high.z)};
}

double Bounds::entry(const Ray& ray) const {
    const double x0 = (low.x - ray.origin.x) * ray.inverse.x;
    const double x1 = (high.x - ray.origin.x) * ray.inverse.x;
    const double y0 = (low.y - ray.origin.y) * ray.inverse.y;
    const double y1 = (high.y - ray.origin.y) * ray.inverse.y;
    const double z0 = (low.z - ray.origin.z) * ray.inverse.z;
    const double z1 = (high.z - ray.origin.z) * ray.inverse.z;
    const double enter =
        std::max(std::max(std::min(x0, x1), std::min(y0, y1)), std::max(std::min(z0, z1), 0.0));
    const double leave = std::min(std::min(std::max(x0, x1), std::max(y0, y1)), std::max(z0, z1));
    return enter <= leave ? enter : kNoHit;
}

Shape::Shape(Kind kind, const Vector3& a, const Vector3& b, const Vector3& c)
    : m_kind(kind), m_a(a), m_b(b), m_c(c) {
}

Shape Shape::box(const Vector3& low, const Vector3& high) {
    return {Kind::Box, low, high};
}

Shape Shape::sphere(const Vector3& centre, double radius) {
    return {Kind::Sphere, centre, {radius, 0, 0}};
}

Shape Shape::cylinder(const Vector3& foot, double radius, double height) {
    return {Kind::Cylinder, foot, {radius, height, 0}};
}

Shape Shape::panel(const Vector3& corner, const Vector3& edgeU, const Vector3& edgeV) {
    return {Kind::Panel, corner, edgeU, edgeV};
}

Bounds Shape::bounds() const {
    switch (m_kind) {
        case Kind::Box:
            return {m_a, m_b};
        case Kind::Sphere: {
            const Vector3 reach{m_b.x, m_b.x, m_b.x};
            return {m_a - reach, m_a + reach};
        }
        case Kind::Cylinder:
            return {m_a - Vector3{m_b.x, m_b.x, 0}, m_a + Vector3{m_b.x, m_b.x, m_b.y}};
        default:
            break;
    }
    Bounds panel;
    for (const Vector3& corner : {m_a, m_a + m_b, m_a + m_c, m_a + m_b + m_c}) {
        panel.include({corner, corner});
    }
    return panel;
}

Crossing Shape::cross(const Ray& ray) const {
    switch (m_kind) {
        case Kind::Box:
            return crossBox(ray);
        case Kind::Sphere:
            return crossSphere(ray);
        case Kind::Cylinder:
            return crossCylinder(ray);
        default:
            return crossPanel(ray);
    }
}

Crossing Shape::crossBox(const Ray& ray) const {
    Slabs slabs;
    slabs.cut(m_a.x, m_b.x, ray.origin.x, ray.inverse.x, 0);
    slabs.cut(m_a.y, m_b.y, ray.origin.y, ray.inverse.y, 1);
    slabs.cut(m_a.z, m_b.z, ray.origin.z, ray.inverse.z, 2);
    return slabs.crossing();
}

Crossing Shape::crossSphere(const Ray& ray) const {
    const Vector3 offset = ray.origin - m_a;
    const double halfB = dot(offset, ray.direction);
    const double c = dot(offset, offset) - m_b.x * m_b.x;
    const double discriminant = halfB * halfB - c;
    if (discriminant < 0) return {};
    const double root = std::sqrt(discriminant);
    return {firstAhead(-halfB - root, -halfB + root), 0};
}

Crossing Shape::crossCylinder(const Ray& ray) const {
    Slabs slabs;
    slabs.cut(m_a.z, m_a.z + m_b.y, ray.origin.z, ray.inverse.z, 2);
    const double dx = ray.origin.x - m_a.x;
    const double dy = ray.origin.y - m_a.y;
    const double a = ray.direction.x * ray.direction.x + ray.direction.y * ray.direction.y;
    const double c = dx * dx + dy * dy - m_b.x * m_b.x;
    if (a < 1e-24) return c <= 0 ? slabs.crossing() : Crossing{};  // along the axis
    const double halfB = dx * ray.direction.x + dy * ray.direction.y;
    const double discriminant = halfB * halfB - a * c;
    if (discriminant < 0) return {};
    const double root = std::sqrt(discriminant);
    const double enter = (-halfB - root) / a;
    const double leave = (-halfB + root) / a;
    if (enter > slabs.enter) {
        slabs.enter = enter;
        slabs.enterFace = kMantle;
    }
    if (leave < slabs.leave) {
        slabs.leave = leave;
        slabs.leaveFace = kMantle;
    }
    return slabs.crossing();
}

Crossing Shape::crossPanel(const Ray& ray) const {
    const Vector3 normal = simulator::cross(m_b, m_c);
    const double approach = dot(normal, ray.direction);
    if (approach == 0) return {};
    const Vector3 offset = m_a - ray.origin;
    const double distance = dot(normal, offset) / approach;
    if (!(distance > kNearest)) return {};
    const Vector3 inPlane = ray.direction * distance - offset;
    const double scale = 1.0 / dot(normal, normal);
    const double u = dot(simulator::cross(inPlane, m_c), normal) * scale;
    const double v = dot(simulator::cross(m_b, inPlane), normal) * scale;
    const bool inside = u >= 0 && u <= 1 && v >= 0 && v <= 1;
    return inside ? Crossing{distance, 0} : Crossing{};
}

Contact Shape::contact(const Crossing& crossing, const Vector3& place) const {
    const Vector3 offset = place - m_a;
    switch (m_kind) {
        case Kind::Box:
            return contactOfFace(crossing.face, place);
        case Kind::Sphere: {
            const Vector3 normal = offset * (1.0 / m_b.x);
            return {normal, std::atan2(normal.y, normal.x) * m_b.x,
                    std::asin(std::clamp(normal.z, -1.0, 1.0)) * m_b.x};
        }
        case Kind::Cylinder:
            if (crossing.face == kBottom || crossing.face == kTop) {
                return contactOfFace(crossing.face, place);
            }
            return {{offset.x / m_b.x, offset.y / m_b.x, 0},
                    std::atan2(offset.y, offset.x) * m_b.x,
                    offset.z};
        default:
            break;
    }
    const double lengthU = length(m_b);
    const double lengthV = length(m_c);
    return {unit(simulator::cross(m_b, m_c)), dot(offset, m_b) / lengthU,
            dot(offset, m_c) / lengthV};
}

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
