#include <brisko_scan/inspect.h>

#include "layouts/alignment_matrix.h"
#include "scan/formats/angle_estimate.h"
#include "scan/formats/format_table.h"
#include "scan/integrity/value_histogram.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace brisko::scan {
namespace {

class Summary {
public:
    explicit Summary(const ScanInfo& info)
        : m_info(info),
          m_matrix(info.alignment),
          m_estimate(info.hasGrid ? info.columns : 0, info.hasGrid ? info.rows : 0) {
        if (!info.hasGrid || !info.header) return;
        const CLFileHeader& header = *info.header;
        m_columnStep =
            stepOf(header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(), info.columns);
        m_rowStep = stepOf(header.GetStartZenithAngle(), header.GetStopZenithAngle(), info.rows);
    }

    void add(const std::vector<CellPoint>& points) {
        for (const CellPoint& p : points)
            add(p);
        if (m_info.hasGrid && !hasAngles()) addSample(points);
    }
    PointSummary result() {
        m_result.range = m_ranges.spread();
        m_result.intensity = m_intensities.spread();
        m_result.minIntensity = static_cast<float>(m_result.intensity.min);
        m_result.maxIntensity = static_cast<float>(m_result.intensity.max);
        if (m_info.hasGrid) takeGrid();
        return m_result;
    }

private:
    static constexpr std::size_t kSampled = 7;  // one of so many

    void add(const CellPoint& point) {
        double place[3] = {point.x, point.y, point.z};
        m_ranges.add(static_cast<float>(
            std::sqrt(point.x * point.x + point.y * point.y + point.z * point.z)));
        m_intensities.add(point.intensity);
        m_matrix.apply(place[0], place[1], place[2]);
        m_result.coloured += (point.red | point.green | point.blue) != 0;
        if (m_result.points++ == 0) {
            std::copy(std::begin(place), std::end(place), m_result.min);
            std::copy(std::begin(place), std::end(place), m_result.max);
            return;
        }
        for (int axis = 0; axis < 3; ++axis) {
            m_result.min[axis] = std::min(m_result.min[axis], place[axis]);
            m_result.max[axis] = std::max(m_result.max[axis], place[axis]);
        }
    }

    /// Angles need no more than a sample of the points.
    void addSample(const std::vector<CellPoint>& points) {
        m_sample.clear();
        for (std::size_t i = 0; i < points.size(); i += kSampled)
            m_sample.push_back(points[i]);
        m_estimate.add(m_sample);
    }

    bool hasAngles() const { return m_columnStep > 0 && m_rowStep > 0; }

    void takeGrid() {
        m_result.cells = std::uint64_t{m_info.columns} * m_info.rows;
        m_result.columnStep = hasAngles() ? m_columnStep : std::abs(m_estimate.azimuth().step);
        m_result.rowStep = hasAngles() ? m_rowStep : std::abs(m_estimate.zenith().step);
    }
    /// A damaged header may hold any number.
    static double stepOf(float start, float stop, std::uint32_t count) {
        const double step =
            std::abs(static_cast<double>(stop) - static_cast<double>(start)) / count;
        return std::isfinite(step) ? step : 0;
    }

    const ScanInfo& m_info;
    AlignmentMatrix m_matrix;
    double m_columnStep = 0, m_rowStep = 0;  // of the header
    AngleEstimate m_estimate;
    ValueHistogram m_ranges, m_intensities;
    std::vector<CellPoint> m_sample;
    PointSummary m_result;
};

}  // namespace

ScanReport describeScan(const std::string& path) {
    return readerOf(path).describe(path);
}

PointSummary summarizePoints(const std::string& path, const ProgressFunction& progress) {
    return summarizePoints(path, {}, progress);
}

PointSummary summarizePoints(const std::string& path, const std::string& scan,
                             const ProgressFunction& function) {
    const std::unique_ptr<ScanInput> input = openScan(path, {.scan = scan});
    Summary summary(input->info());
    TaskProgress progress(function, "count", input->steps(), input->stepUnit());
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        summary.add(points);
        progress.advanceTo(input->stepsDone());
    }
    return summary.result();
}

}  // namespace brisko::scan
