#include <brisko_scan/inspect.h>

#include "layouts/alignment_matrix.h"
#include "scan/formats/format_table.h"

#include <algorithm>
#include <iterator>

namespace brisko::scan {
namespace {

class Summary {
public:
    explicit Summary(const Alignment& alignment) : m_matrix(alignment) {}

    void add(const std::vector<CellPoint>& points) {
        for (const CellPoint& p : points)
            add(p);
    }
    const PointSummary& result() const { return m_result; }

private:
    void add(const CellPoint& point) {
        double place[3] = {point.x, point.y, point.z};
        m_matrix.apply(place[0], place[1], place[2]);
        m_result.coloured += (point.red | point.green | point.blue) != 0;
        if (m_result.points++ == 0) {
            std::copy(std::begin(place), std::end(place), m_result.min);
            std::copy(std::begin(place), std::end(place), m_result.max);
            m_result.minIntensity = m_result.maxIntensity = point.intensity;
            return;
        }
        for (int axis = 0; axis < 3; ++axis) {
            m_result.min[axis] = std::min(m_result.min[axis], place[axis]);
            m_result.max[axis] = std::max(m_result.max[axis], place[axis]);
        }
        m_result.minIntensity = std::min(m_result.minIntensity, point.intensity);
        m_result.maxIntensity = std::max(m_result.maxIntensity, point.intensity);
    }

    AlignmentMatrix m_matrix;
    PointSummary m_result;
};

}  // namespace

ScanReport describeScan(const std::string& path) {
    return readerOf(path).describe(path);
}

PointSummary summarizePoints(const std::string& path, const ProgressFunction& function) {
    const std::unique_ptr<ScanInput> input = openScan(path);
    Summary summary(input->info().alignment);
    TaskProgress progress(function, "count", input->steps(), input->stepUnit());
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        summary.add(points);
        progress.advanceTo(input->stepsDone());
    }
    return summary.result();
}

}  // namespace brisko::scan
