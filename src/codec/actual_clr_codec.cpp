#include "codec/actual_clr_codec.h"

#include "layouts/records.h"

#include <algorithm>

namespace brisko {

ActualCLRCodec::~ActualCLRCodec() = default;

void ActualCLRCodec::stopPass() {
    m_cells.reset();
    m_stretch = m_next = m_stretchEnd = m_runEnd = nullptr;
    m_column = m_stretchRow = 0;
}

bool ActualCLRCodec::Open(const char* path) {
    if (ActualBriskoCodec::Open(path) && orProblem([this] { return openLaterFiles(); }))
        return true;
    Close();
    return false;
}

bool ActualCLRCodec::openLaterFiles() {
    for (const std::string& path : m_later) {
        m_laterFiles.push_back(openFile(path.c_str(), "rb", m_problem.readErrors()));
        if (m_laterFiles.back()) continue;
        m_problem.note(ReadProblemKind::Unreadable,
                       static_cast<FirstProblem::File>(m_laterFiles.size()), 0);
        return false;
    }
    return true;
}

void ActualCLRCodec::Close() {
    stopPass();
    m_pieces.reset();
    m_laterFiles.clear();
    ActualBriskoCodec::Close();
}

/// The files of the scan with their headers, each standing after it. Empty where one cannot be read.
std::vector<CLRSource> ActualCLRCodec::findSources() {
    if (!ActualBriskoCodec::Rewind()) return {};
    std::vector<CLRSource> sources{{stream(), {}, FirstProblem::kScan}};
    readHeader(stream(), sources.front().header);
    for (const FilePtr& file : m_laterFiles) {
        CLRSource source{file.get(), {}, static_cast<FirstProblem::File>(sources.size())};
        if (!rewindStream(file.get())) return {};
        readHeader(file.get(), source.header);
        sources.push_back(std::move(source));
    }
    return sources;
}

bool ActualCLRCodec::findLines(std::uint32_t n, const std::function<void()>& between) {
    stopPass();
    const std::vector<CLRSource> sources = findSources();
    if (sources.empty()) return false;
    if (isPlain(sources.front(), m_problem)) return !readProblem();
    m_pieces = std::make_shared<const PieceTable>(findPieces(sources, n, m_problem, between));
    // A pass without blocks looks for what is left over instead.
    return !readProblem() && !m_pieces->blocks.empty();
}

bool ActualCLRCodec::Rewind() {
    stopPass();
    const std::vector<CLRSource> sources = findSources();
    if (sources.empty()) return false;
    const CLRFileHeader& header = sources.front().header;
    const auto columns = static_cast<std::uint32_t>(gridOf(header).columns);
    ColumnRange lines = m_range.value_or(ColumnRange{});
    lines.end = std::min(lines.end, columns);
    lines.first = std::min(lines.first, lines.end);
    m_column = lines.first;
    const bool areFound = m_pieces && !m_pieces->blocks.empty();
    m_cells = openCLRCells(sources, lines, m_problem, areFound ? m_pieces.get() : nullptr);
    if (!m_cells) return false;
    takeGrid(header);
    m_lineLength = static_cast<std::uint32_t>(gridOf(header).rows);
    m_turnsOddLines = CLRPointFormat{header.GetPointFormat()} != CLRPointFormat::OneWay;
    return true;
}

void ActualCLRCodec::takeGrid(const CLRFileHeader& header) {
    m_columns = static_cast<std::int32_t>(header.GetAzimuthResolution());
    m_rows = static_cast<std::int32_t>(header.GetZenithResolution());
}

/// Moves to the next stretch: the rest of the run, as far as it lies in one line.
bool ActualCLRCodec::nextStretch() {
    if (!m_cells) return false;
    m_stretchRow += static_cast<std::uint32_t>(m_stretchEnd - m_stretch);
    if (m_stretchRow == m_lineLength) {
        m_stretchRow = 0;
        ++m_column;
    }
    if (m_stretchEnd == m_runEnd) {
        const std::size_t cells = m_cells->nextRun();
        if (cells == 0) {
            stopPass();
            return false;
        }
        m_stretchEnd = m_cells->cells();
        m_runEnd = m_stretchEnd + cells;
    }
    m_stretch = m_next = m_stretchEnd;
    m_stretchEnd += std::min<std::ptrdiff_t>(m_lineLength - m_stretchRow, m_runEnd - m_stretch);
    return true;
}

inline Cell ActualCLRCodec::cellOf(const RawRecord* record) const {
    const std::uint32_t stored = m_stretchRow + static_cast<std::uint32_t>(record - m_stretch);
    const bool turned = m_turnsOddLines && (m_column & 1) != 0;
    return {m_column, turned ? m_lineLength - 1 - stored : stored};
}

CLPoint* ActualCLRCodec::NextRecord(unsigned& column, unsigned& row) {
    if (m_next == m_stretchEnd && !nextStretch()) return nullptr;
    const RawRecord* const in = m_next++;
    m_record = CLRPoint(in->x, in->y, in->z, in->fourth, in->intensity);
    const Cell cell = cellOf(in);
    column = cell.column;
    row = cell.row;
    return &m_record;
}

// The short way to the next point: one in the stretch at hand, past any empty cells. At the end of
// the stretch the general protocol goes on.
inline bool ActualCLRCodec::takeFromStretch(Point& point) {
    const RawRecord* in = m_next;
    while (in != m_stretchEnd && !isMeasured(*in))
        ++in;
    m_next = in;
    if (in == m_stretchEnd) return false;
    m_next = in + 1;
    point.x = toMetres(in->x);
    point.y = toMetres(in->y);
    point.z = toMetres(in->z);
    point.intensity = static_cast<float>(in->intensity);
    point.cell = cellOf(in);
    applied().apply(point.x, point.y, point.z);
    return true;
}

bool ActualCLRCodec::ReadNextPoint(double& x, double& y, double& z, float& intensity,
                                   std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                   std::uint8_t& alpha) {
    Point point;
    if (!takeFromStretch(point)) [[unlikely]] {
        return ActualBriskoCodec::ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
    }
    x = point.x;
    y = point.y;
    z = point.z;
    intensity = point.intensity;
    red = green = blue = 0;
    alpha = 255;
    return true;
}

bool ActualCLRCodec::ReadNextGridPoint(double& x, double& y, double& z, float& intensity,
                                       std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                       std::uint8_t& alpha, unsigned& column, unsigned& row) {
    Point point;
    if (!takeFromStretch(point)) [[unlikely]] {
        return ActualBriskoCodec::ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha,
                                                    column, row);
    }
    x = point.x;
    y = point.y;
    z = point.z;
    intensity = point.intensity;
    red = green = blue = 0;
    alpha = 255;
    column = point.cell.column;
    row = point.cell.row;
    return true;
}

std::size_t ActualCLRCodec::readBatch(const PointArrays& arrays, std::size_t capacity) {
    const PointArraysWriter out(arrays);
    std::size_t count = 0;
    Point point;
    while (count < capacity) {
        if (!takeFromStretch(point)) {
            if (!orProblem([this] { return nextStretch(); })) break;
            continue;
        }
        out.put(count, point.x, point.y, point.z, point.intensity);
        out.putColour(count, 0, 0, 0);
        out.putCell(count, point.cell.column, point.cell.row);
        ++count;
    }
    return count;
}

}  // namespace brisko
