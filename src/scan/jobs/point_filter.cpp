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

/// A coordinate that is no number has no distance and passes none of these.
bool isBetween(const PointConditions& conditions, const CellPoint& p) {
    if (!conditions.minDistance && !conditions.maxDistance) return true;
    const double squared = squaredDistance(p);
    const auto square = [](double distance) { return distance * distance; };
    if (conditions.minDistance && !(squared >= square(*conditions.minDistance))) return false;
    return !conditions.maxDistance || squared <= square(*conditions.maxDistance);
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
    : m_conditions(conditions), m_isOpen(isOpen(conditions)) {
}

void PointFilter::addVoxels(double size, ScanInput& input, const std::string& beside,
                            const ProgressFunction& progress) {
    m_voxels = std::make_unique<VoxelFilter>(size, input, m_conditions, beside, progress);
}

bool PointFilter::passes(CellPoint& point) {
    const PointConditions& c = m_conditions;
    if (c.every > 1) {
        const bool isSkipped = m_toPass > 0;
        m_toPass = isSkipped ? m_toPass - 1 : c.every - 1;
        if (isSkipped) return false;
    }
    if (c.part && !c.part->holds(point)) return false;
    if (c.validOnly && point.x == 0 && point.y == 0 && point.z == 0) return false;
    if (!isBetween(c, point)) return false;
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

void PointFilter::choose(std::vector<CellPoint>& points) {
    std::size_t kept = 0;
    for (CellPoint& point : points) {
        if (passes(point)) points[kept++] = point;
    }
    points.resize(kept);
}

}  // namespace brisko::scan
