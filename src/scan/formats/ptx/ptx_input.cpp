#include "scan/formats/ptx/ptx_input.h"

#include <brisko_codec/codec.h>

#include <algorithm>
#include <iterator>

namespace brisko::scan {

PtxInput::PtxInput(const std::string& path) {
    m_reader = std::make_unique<PtxReader>(path);
    const PtxHeader& header = m_reader->header();
    m_info.path = path;
    m_info.format = formatOf(path);
    m_info.hasGrid = true;
    m_info.columns = header.columns;
    m_info.rows = header.rows;
    m_info.alignment.source = AlignmentSource::File;
    std::copy(std::begin(header.matrix), std::end(header.matrix), m_info.alignment.matrix);
    m_info.storesColour = m_reader->hasColour();
    m_info.isColoured = m_info.storesColour;
}

void PtxInput::read(std::vector<CellPoint>& points) {
    m_reader->read(points, kBatch);
    for (const CellPoint& p : points)
        m_foreignIntensity |= p.intensity < 0 || p.intensity > BriskoCodec::i_range;
}

void PtxInput::rewind() {
    m_reader = std::make_unique<PtxReader>(m_info.path);
}

std::string PtxInput::remark() const {
    if (!m_foreignIntensity) return {};
    return "some intensities are not from 0 to 1; all were taken times 2200 nevertheless";
}

ScanReport describePtx(const std::string& path) {
    const PtxReader reader(path);
    ScanReport report;
    report.path = path;
    report.format = formatOf(path);
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

}  // namespace brisko::scan
