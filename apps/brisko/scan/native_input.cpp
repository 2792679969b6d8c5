#include "scan/native_input.h"

#include "common/failure.h"
#include "scan/photo_report.h"

#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/color_codec.h>

#include <algorithm>

namespace brisko::tool {
namespace {

BriskoCodec* createCodec(const ScanFacts& facts) {
    if (facts.kind == ScanKind::CLR) return CLRGridCodec::Create();
    if (facts.hasGrid) return CL3GridCodec::Create();
    return CL3Codec::Create();
}

/// The same, colouring on four threads while points are written.
BriskoCodec* createColouringCodec(const ScanFacts& facts) {
    if (facts.kind == ScanKind::CLR) return ColorCodecCreator::CreateCLRGridCodec();
    if (facts.hasGrid) return ColorCodecCreator::CreateCL3GridCodec();
    return ColorCodecCreator::CreateCL3Codec();
}

}  // namespace

NativeInput::NativeInput(const std::string& path, ColourSource source)
    : m_source(source),
      m_positions(3 * kBatch),
      m_intensities(kBatch),
      m_colours(3 * kBatch),
      m_columns(kBatch),
      m_rows(kBatch) {
    ScanLayout layout = scanKind(path) == ScanKind::CL3 ? inspectCL3(path) : inspectCLR(path);
    requireSound(layout);
    takeFacts(std::move(layout));
    openCodec();
}

void NativeInput::takeFacts(ScanLayout layout) {
    m_facts.path = layout.path;
    m_facts.kind = layout.kind;
    m_facts.hasGrid = layout.kind == ScanKind::CLR || layout.index;
    m_facts.columns = layout.columns;
    m_facts.rows = layout.rows;
    if (layout.index) m_facts.bandColumns = layout.index->tileSize;
    m_facts.storesColour = layout.kind == ScanKind::CL3 && layout.header->GetPointFormat() == 1;
    m_facts.isColoured = m_source == ColourSource::Photos;
    m_facts.storesColour = m_facts.storesColour || m_facts.isColoured;
    m_facts.records = layout.records;
    m_facts.header = std::move(layout.header);
    m_steps = m_facts.kind == ScanKind::CLR ? m_facts.columns : m_facts.records;
}

void NativeInput::openCodec() {
    m_reader.reset();
    m_codec.reset(m_source == ColourSource::Photos ? createColouringCodec(m_facts)
                                                   : createCodec(m_facts));
    if (!m_codec) throw std::bad_alloc();
    if (m_source == ColourSource::Photos) setPhotoOutlines(*m_codec, PhotoOutlines::Whole);
    if (!m_codec->Open(m_facts.path.c_str())) failToOpen();
    setFrame(*m_codec, Frame::Scanner);
    m_facts.alignment = getAlignment(*m_codec);
    if (m_facts.alignment.source == AlignmentSource::Unreadable) {
        throw Failure(ExitCode::Damaged, companionOf(m_facts.path, ".alg") +
                                             ": cannot be read as an alignment; move it away to "
                                             "read the scan without one");
    }
    m_reader = std::make_unique<PointBatchReader>(*m_codec);
}

/// Names the photo that keeps a scan from being coloured, if it is one: a scan that got here is sound.
void NativeInput::failToOpen() const {
    if (m_source == ColourSource::Photos) requireUsable(decodeStationPhotos(m_facts.path));
    throw Failure(ExitCode::Damaged, m_facts.path + ": cannot be opened as a scan");
}

void NativeInput::rewind() {
    m_started = false;
    m_done = 0;
    // Points that are coloured ahead come in one pass.
    if (m_source == ColourSource::Photos) openCodec();
}

const char* NativeInput::stepUnit() const {
    return m_facts.kind == ScanKind::CLR ? "columns" : "points";
}

std::size_t NativeInput::readBatch() {
    const PointArrays arrays{m_positions.data(), m_intensities.data(), m_colours.data(),
                             m_columns.data(), m_rows.data()};
    if (m_started) return m_reader->readNext(arrays, kBatch);
    m_started = true;
    return m_reader->readFirst(arrays, kBatch);
}

void NativeInput::read(std::vector<CellPoint>& points) {
    points.resize(readBatch());
    if (m_reader->hasReadError()) {
        throw Failure(ExitCode::Damaged, m_facts.path + ": cannot be read to its end");
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        CellPoint& point = points[i];
        point.x = m_positions[3 * i];
        point.y = m_positions[3 * i + 1];
        point.z = m_positions[3 * i + 2];
        point.intensity = m_intensities[i];
        point.red = m_colours[3 * i];
        point.green = m_colours[3 * i + 1];
        point.blue = m_colours[3 * i + 2];
        point.column = m_columns[i];
        point.row = m_rows[i];
    }
    countSteps(points);
}

void NativeInput::countSteps(const std::vector<CellPoint>& points) {
    if (points.empty()) {
        m_done = m_steps;
        return;
    }
    if (m_facts.kind == ScanKind::CLR) {
        m_done = points.back().column;
    } else {
        m_done += points.size();
    }
}

}  // namespace brisko::tool
