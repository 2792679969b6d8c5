#include "codec/actual_brisko_codec.h"

#include "base/companion_path.h"
#include "codec/alignment.h"

#include <brisko_codec/threads.h>

#include <algorithm>

namespace brisko {

ActualBriskoCodec::~ActualBriskoCodec() = default;

bool ActualBriskoCodec::Open(const char* path) {
    Close();
    m_alignment = AlignmentMatrix();
    m_alignmentSource = AlignmentSource::None;
    m_problem.clear();
    if (!orProblem([&] { return openAlignment(path); })) return false;
    setFrame(m_frame);
    m_stream = openFile(path, "rb", m_problem.readErrors());
    return m_stream != nullptr;
}

/// Reads the alignment beside a scan, where there is one.
bool ActualBriskoCodec::openAlignment(const char* path) {
    m_path = path ? path : "";
    if (!path) return true;
    const std::string companion = companionForReading(path, ".alg");
    if (!companion.empty()) {
        m_alignmentSource = loadAlignment(companion, m_alignment, m_problem.readErrors());
    }
    return true;
}

void ActualBriskoCodec::Close() {
    m_stream.reset();
}

bool ActualBriskoCodec::setColumnRange(const ColumnRange& columns,
                                       std::shared_ptr<const CL3TileTable> tiles) {
    m_range = columns;
    m_tiles = std::move(tiles);
    return true;
}

bool ActualBriskoCodec::Rewind() {
    m_columns = 0;
    m_rows = 0;
    m_problem.clear();
    return m_stream && rewindStream(m_stream.get());
}

bool ActualBriskoCodec::rewindStream(std::FILE* stream) {
    std::clearerr(stream);  // an error of an earlier pass is not one of this
    return seekTo(stream, 0, m_problem.readErrors());
}

bool ActualBriskoCodec::startPass() {
    return orProblem([this] { return Rewind(); });
}

namespace {

/// Sets a point to "none", and fills it in where the record holds one.
bool convert(const CLPoint* record, double& x, double& y, double& z, float& intensity,
             std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) {
    x = y = z = 0;
    intensity = 0;
    red = green = blue = 0;
    alpha = 255;
    if (!record || !record->IsValid()) return false;
    x = record->GetX();
    y = record->GetY();
    z = record->GetZ();
    intensity = record->GetIntensity();
    red = record->GetRed();
    green = record->GetGreen();
    blue = record->GetBlue();
    return true;
}

}  // namespace

bool ActualBriskoCodec::ReadFirstGridPoint(double& x, double& y, double& z, float& intensity,
                                           std::uint8_t& red, std::uint8_t& green,
                                           std::uint8_t& blue, std::uint8_t& alpha,
                                           unsigned& column, unsigned& row) {
    return startPass() &&
           ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
}

bool ActualBriskoCodec::ReadNextGridPoint(double& x, double& y, double& z, float& intensity,
                                          std::uint8_t& red, std::uint8_t& green,
                                          std::uint8_t& blue, std::uint8_t& alpha, unsigned& column,
                                          unsigned& row) {
    const CLPoint* record = nullptr;
    unsigned recordColumn = 0, recordRow = 0;
    do {
        record = orProblem([&] { return NextRecord(recordColumn, recordRow); });
        if (convert(record, x, y, z, intensity, red, green, blue, alpha)) {
            m_applied.apply(x, y, z);
            column = recordColumn;
            row = recordRow;
            return true;
        }
    } while (record);
    return false;
}

bool ActualBriskoCodec::ReadFirstPoint(double& x, double& y, double& z, float& intensity,
                                       std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                       std::uint8_t& alpha) {
    unsigned column = 0, row = 0;
    return ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
}

bool ActualBriskoCodec::ReadNextPoint(double& x, double& y, double& z, float& intensity,
                                      std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                      std::uint8_t& alpha) {
    unsigned column = 0, row = 0;
    return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
}

PointBounds ActualBriskoCodec::findBounds() {
    const std::size_t threads = jobThreads();
    std::optional<PointBounds> bounds;
    if (threads > 1 && !m_range) bounds = orFailure([&] { return findBoundsApart(threads); });
    return bounds ? *bounds : findBoundsInOrder();
}

PointBounds ActualBriskoCodec::findBoundsInOrder() {
    PointBounds bounds;
    double p[3];
    float intensity;
    std::uint8_t red, green, blue, alpha;
    bool more = ReadFirstPoint(p[0], p[1], p[2], intensity, red, green, blue, alpha);
    while (more) {
        bounds.add(p);
        more = ReadNextPoint(p[0], p[1], p[2], intensity, red, green, blue, alpha);
    }
    return bounds;
}

void ActualBriskoCodec::GetBounds(double& minX, double& minY, double& minZ, double& maxX,
                                  double& maxY, double& maxZ, std::int64_t& count) {
    PointBounds& bounds = m_frame == Frame::Scanner ? m_measuredBounds : m_alignedBounds;
    if (bounds.count == 0) {
        m_applied = chosen();
        bounds = findBounds();
        setFrame(m_frame);
    }
    minX = bounds.min[0];
    minY = bounds.min[1];
    minZ = bounds.min[2];
    maxX = bounds.max[0];
    maxY = bounds.max[1];
    maxZ = bounds.max[2];
    count = bounds.count;
}

void ActualBriskoCodec::GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) {
    columns = static_cast<std::size_t>(m_columns);
    rows = static_cast<std::size_t>(m_rows);
    tileSize = m_tileSize;
}

Alignment ActualBriskoCodec::alignment() const {
    Alignment alignment;
    std::copy(m_alignment.rows().begin(), m_alignment.rows().end(), alignment.matrix);
    alignment.source = m_alignmentSource;
    return alignment;
}

/// What points of the chosen frame have gone through.
AlignmentMatrix ActualBriskoCodec::chosen() const {
    return m_frame == Frame::Scanner ? AlignmentMatrix::none() : m_alignment;
}

void ActualBriskoCodec::setFrame(Frame frame) {
    m_frame = frame;
    m_applied = m_asMeasured ? AlignmentMatrix::none() : chosen();
}

bool ActualBriskoCodec::deliverAsMeasured() {
    m_asMeasured = true;
    setFrame(m_frame);
    return true;
}

}  // namespace brisko
