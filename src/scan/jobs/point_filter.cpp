#include "scan/jobs/point_filter.h"

namespace brisko::scan {
namespace {

bool isInside(const CellWindow& window, const CellPoint& point) {
    return point.column >= window.firstColumn && point.column < window.endColumn &&
           point.row >= window.firstRow && point.row < window.endRow;
}

bool isInside(const Box& box, double x, double y, double z) {
    return x >= box.min[0] && x <= box.max[0] && y >= box.min[1] && y <= box.max[1] &&
           z >= box.min[2] && z <= box.max[2];
}

bool isWithin(double distance, const CellPoint& p) {
    return p.x * p.x + p.y * p.y + p.z * p.z <= distance * distance;
}

}  // namespace

bool PointFilter::passes(CellPoint& point) const {
    if (window && !isInside(*window, point)) return false;
    if (validOnly && point.x == 0 && point.y == 0 && point.z == 0) return false;
    if (maxDistance && !isWithin(*maxDistance, point)) return false;
    if (!box && !applyMatrix) return true;
    double x = point.x, y = point.y, z = point.z;
    applyAlignment(matrix, x, y, z);
    if (box && !isInside(*box, x, y, z)) return false;
    if (applyMatrix) {
        point.x = x;
        point.y = y;
        point.z = z;
    }
    return true;
}

void PointFilter::apply(std::vector<CellPoint>& points) const {
    std::size_t kept = 0;
    for (CellPoint& point : points) {
        if (passes(point)) points[kept++] = point;
    }
    points.resize(kept);
}

}  // namespace brisko::scan
