#include "scan/view/view_cloud.h"

#include "base/text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr int kOrderBits = 21;  // of each axis

/// The low 21 bits of a number with two zeros after each.
std::uint64_t spread(std::uint64_t bits) {
    std::uint64_t wide = 0;
    for (int bit = 0; bit < kOrderBits; ++bit)
        wide |= (bits >> bit & 1) << (3 * bit);
    return wide;
}

}  // namespace

ViewCloud::ViewCloud(std::uint64_t expected, std::uint64_t most)
    : m_most(most),
      m_share(expected > most ? static_cast<double>(most) / static_cast<double>(expected) : 1) {
}

void ViewCloud::add(const CellPoint& p) {
    m_due += m_share;
    if (m_due < 1) return;
    m_due -= 1;
    if (m_points.size() >= m_most) halve();
    const std::array<double, 3> place = {p.x, p.y, p.z};
    if (!m_hasCorner) {
        std::transform(place.begin(), place.end(), m_corner.begin(),
                       [](double metres) { return std::floor(metres); });
        m_hasCorner = true;
    }
    Point point;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        constexpr double kMost = std::numeric_limits<std::int32_t>::max() / 4.0;
        const double units = std::round((place[axis] - m_corner[axis]) / kViewLength);
        if (std::abs(units) > kMost) {
            ++m_tooFar;
            return;
        }
        point.at[axis] = static_cast<std::int32_t>(units);
    }
    point.values = ViewValues(p);
    m_points.push_back(point);
}

/// More points came than were expected: every other one goes.
void ViewCloud::halve() {
    for (std::size_t i = 0; 2 * i < m_points.size(); ++i)
        m_points[i] = m_points[2 * i];
    m_points.resize((m_points.size() + 1) / 2);
    m_share /= 2;
}

void ViewCloud::sort() {
    std::array<std::int32_t, 3> low{}, high{};
    for (const Point& point : m_points) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], point.at[axis]);
            high[axis] = std::max(high[axis], point.at[axis]);
        }
    }
    std::uint32_t extent = 1;
    for (std::size_t axis = 0; axis < 3; ++axis)
        extent = std::max(extent, static_cast<std::uint32_t>(high[axis] - low[axis]));
    const int cut = std::max(0, static_cast<int>(std::bit_width(extent)) - kOrderBits);
    for (Point& point : m_points) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto place = static_cast<std::uint32_t>(point.at[axis] - low[axis]);
            point.order |= spread(place >> cut) << axis;
        }
    }
    std::sort(m_points.begin(), m_points.end(),
              [](const Point& a, const Point& b) { return a.order < b.order; });
}

void ViewCloud::write(PackedText& text) {
    sort();
    std::array<BytePlanes, 3> axes = {BytePlanes(4), BytePlanes(4), BytePlanes(4)};
    ViewValuePlanes values;
    std::array<std::int32_t, 3> last{};
    for (const Point& point : m_points) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            axes[axis].add(zigzag(point.at[axis] - last[axis]));
        values.add(point.values);
        last = point.at;
    }
    for (const BytePlanes& planes : axes)
        planes.write(text);
    values.write(text);
    m_hasColour = values.hasColour();
}

std::string ViewCloud::members() const {
    return "\"kind\":\"cloud\",\"corner\":" +
           formatText("[%.17g,%.17g,%.17g]", m_corner[0], m_corner[1], m_corner[2]) +
           ",\"hasColour\":" + (m_hasColour ? "true," : "false,");
}

}  // namespace brisko::scan
