#include "scan/jobs/point_filter.h"

namespace brisko::scan {
namespace {

bool isInside(const Box& box, double x, double y, double z) {
    return x >= box.min[0] && x <= box.max[0] && y >= box.min[1] && y <= box.max[1] &&
           z >= box.min[2] && z <= box.max[2];
}

double squaredDistance(const CellPoint& p) {
    return p.x * p.x + p.y * p.y + p.z * p.z;
}

double squared(double length) {
    return length * length;
}

bool isWithin(const IntensityRange& range, double intensity) {
    return intensity >= range.min && intensity <= range.max;
}

bool isOpen(const PointConditions& c) {
    return !c.part && c.every == 1 && !c.minDistance && !c.maxDistance && !c.intensities &&
           !c.box && !c.validOnly && !c.applyMatrix;
}

}  // namespace

PointFilter::PointFilter(const PointConditions& conditions)
    : m_conditions(conditions),
      m_isOpen(isOpen(conditions)),
      m_asksForDistance(conditions.minDistance || conditions.maxDistance) {
    if (conditions.minDistance) m_leastSquared = squared(*conditions.minDistance);
    if (conditions.maxDistance) m_mostSquared = squared(*conditions.maxDistance);
}

void PointFilter::addVoxels(double size, ScanInput& input, const std::string& beside,
                            const ProgressFunction& progress) {
    m_voxels = std::make_unique<VoxelFilter>(size, input, m_conditions, beside, progress);
}

inline bool PointFilter::passes(CellPoint& point) const {
    const PointConditions& c = m_conditions;
    if (c.part && !c.part->holds(point)) return false;
    if (c.validOnly && point.x == 0 && point.y == 0 && point.z == 0) return false;
    if (m_asksForDistance) {
        const double distance = squaredDistance(point);
        // What is no number has no distance and does not pass.
        const bool isBetween = distance >= m_leastSquared && distance <= m_mostSquared;
        if (!isBetween) return false;
    }
    if (c.intensities && !isWithin(*c.intensities, static_cast<double>(point.intensity))) {
        return false;
    }
    if (!c.box && !c.applyMatrix) return true;
    double x = point.x, y = point.y, z = point.z;
    c.matrix.apply(x, y, z);
    if (c.box && !isInside(*c.box, x, y, z)) return false;
    if (c.applyMatrix) {
        point.x = x;
        point.y = y;
        point.z = z;
    }
    return true;
}

void PointFilter::thinOut(std::vector<CellPoint>& points) {
    const std::size_t every = m_conditions.every;
    std::size_t kept = 0, i = m_toPass;
    for (; i < points.size(); i += every)
        points[kept++] = points[i];
    m_toPass = i - points.size();
    points.resize(kept);
}

void PointFilter::choose(std::vector<CellPoint>& points) {
    if (m_conditions.every > 1) thinOut(points);
    std::size_t kept = 0;
    for (CellPoint& point : points) {
        if (passes(point)) points[kept++] = point;
    }
    points.resize(kept);
}

}  // namespace brisko::scan
