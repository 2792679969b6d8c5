#include "scan/formats/ptx/ptx_input.h"

#include <algorithm>
#include <iterator>

namespace brisko::scan {

PtxInput::PtxInput(const std::string& path) {
    m_reader = std::make_unique<PtxReader>(path);
    const PtxHeader& header = m_reader->header();
    m_facts.path = path;
    m_facts.kind = ScanKind::PTX;
    m_facts.hasGrid = true;
    m_facts.columns = header.columns;
    m_facts.rows = header.rows;
    m_facts.alignment.source = AlignmentSource::File;
    std::copy(std::begin(header.matrix), std::end(header.matrix), m_facts.alignment.matrix);
    m_facts.storesColour = m_reader->hasColour();
    m_facts.isColoured = m_facts.storesColour;
}

void PtxInput::read(std::vector<CellPoint>& points) {
    m_reader->read(points, kBatch);
}

void PtxInput::rewind() {
    m_reader = std::make_unique<PtxReader>(m_facts.path);
}

}  // namespace brisko::scan
