#include <brisko_scan/inspect.h>

#include "scan/formats/native/scan_layout.h"

#include "scan/formats/ptx/ptx_reader.h"
#include "scan/formats/scan_input.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace brisko::scan {
namespace {

ScanReport describePtx(const std::string& path) {
    const PtxReader reader(path);
    ScanReport report;
    report.path = path;
    report.kind = ScanKind::PTX;
    report.bytes = reader.bytes();
    report.hasGrid = true;
    report.columns = reader.header().columns;
    report.rows = reader.header().rows;
    std::copy(std::begin(reader.header().matrix), std::end(reader.header().matrix),
              report.alignment.matrix);
    report.alignment.source = AlignmentSource::File;
    report.hasColour = reader.hasColour();
    return report;
}

ScanReport describeNative(ScanLayout layout) {
    ScanReport report;
    report.path = layout.path;
    report.kind = layout.kind;
    report.bytes = layout.bytes;
    report.hasGrid = layout.kind == ScanKind::CLR || layout.index;
    report.columns = layout.columns;
    report.rows = layout.rows;
    report.index = layout.index;
    report.alignment = alignmentOf(layout.path);
    report.records = layout.records;
    report.hasColour = layout.kind == ScanKind::CL3 && layout.header->GetPointFormat() == 1;
    report.photos = findStationPhotos(layout.path);
    report.problems = std::move(layout.problems);
    report.header = std::move(layout.header);
    if (report.alignment.source == AlignmentSource::Unreadable) {
        report.problems.push_back(companionOf(layout.path, ".alg") +
                                  ": cannot be read as an alignment");
    }
    return report;
}

class Summary {
public:
    explicit Summary(const double (&matrix)[16]) {
        std::copy(std::begin(matrix), std::end(matrix), m_matrix);
    }

    void add(const std::vector<CellPoint>& points) {
        for (const CellPoint& p : points)
            add(p);
    }
    const PointSummary& result() const { return m_result; }

private:
    void add(const CellPoint& point) {
        double place[3] = {point.x, point.y, point.z};
        applyAlignment(m_matrix, place[0], place[1], place[2]);
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

    double m_matrix[16] = {};
    PointSummary m_result;
};

}  // namespace

ScanReport describeScan(const std::string& path) {
    switch (scanKind(path)) {
        case ScanKind::PTX:
            return describePtx(path);
        case ScanKind::CLR:
            return describeNative(inspectCLR(path));
        default:
            return describeNative(inspectCL3(path));
    }
}

PointSummary summarizePoints(const std::string& path, const ProgressFunction& function) {
    const std::unique_ptr<ScanInput> input = openScan(path);
    Summary summary(input->facts().alignment.matrix);
    TaskProgress progress(function, "count", input->steps(), input->stepUnit());
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        summary.add(points);
        progress.advanceTo(input->stepsDone());
    }
    return summary.result();
}

}  // namespace brisko::scan
