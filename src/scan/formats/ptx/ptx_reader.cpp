#include "scan/formats/ptx/ptx_reader.h"

#include "scan/formats/ptx/number_text.h"

#include <brisko_codec/codec.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace brisko::scan {
namespace {

/// The shortest line of a cell: "0 0 0 0" and its end.
constexpr std::uint64_t kShortestCell = 8;  // bytes

}  // namespace

PtxDamage::PtxDamage(const std::string& path, std::uint64_t line, const std::string& reason,
                     bool isCell)
    : ScanError(ErrorKind::Damaged, path,
                (line > 0 ? "line " + std::to_string(line) + ": " : "") + reason),
      m_line(line),
      m_reason(reason),
      m_isCell(isCell) {
}

PtxReader::PtxReader(const std::string& path) : m_lines(path) {
    readHeader();
    requireRoomForCells();
    countFields();
}

void PtxReader::fail(const std::string& reason, bool isCell) const {
    throw PtxDamage(m_lines.path(), m_lines.number(), reason, isCell);
}

std::string_view PtxReader::nextLine(const char* what) {
    std::string_view line;
    if (!m_lines.next(line)) {
        throw PtxDamage(
            m_lines.path(), 0,
            "the file ends after line " + std::to_string(m_lines.number()) + ", before " + what,
            false);
    }
    return line;
}

std::uint32_t PtxReader::readCount(const char* what) {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    std::string_view line = nextLine(what);
    double count = 0;
    const bool fits = takeNumber(line, count) && isBlank(line) && count >= 1 && count <= kMost &&
                      count == static_cast<double>(static_cast<std::uint32_t>(count));
    if (!fits) fail(std::string(what) + " are not a number from 1 to 2147483647");
    return static_cast<std::uint32_t>(count);
}

void PtxReader::readNumbers(double* numbers, int count, const char* what) {
    std::string_view line = nextLine(what);
    for (int i = 0; i < count; ++i) {
        if (!takeNumber(line, numbers[i])) {
            fail(std::string(what) + ": " + std::to_string(count) + " numbers are expected");
        }
    }
    if (!isBlank(line)) {
        fail(std::string(what) + ": more than " + std::to_string(count) + " numbers");
    }
}

void PtxReader::readHeader() {
    m_header.columns = readCount("the columns");
    m_header.rows = readCount("the rows");
    // Position and axes repeat what the matrix says; the matrix is what counts.
    double repeated[3];
    readNumbers(repeated, 3, "the scanner's position");
    for (int axis = 0; axis < 3; ++axis)
        readNumbers(repeated, 3, "the scanner's axes");
    for (std::size_t column = 0; column < 4; ++column) {
        double numbers[4];
        readNumbers(numbers, 4, "the matrix");
        for (std::size_t row = 0; row < 4; ++row)
            m_header.matrix[4 * row + column] = numbers[row];
    }
}

/// Refuses a grid that the file is too small for, before anything is sized by it.
void PtxReader::requireRoomForCells() {
    const std::uint64_t cells = std::uint64_t{m_header.columns} * m_header.rows;
    const std::uint64_t left = m_lines.size() - m_lines.position();
    if ((left + 1) / kShortestCell >= cells) return;  // the last line may lack its end
    throw PtxDamage(m_lines.path(), 0,
                    "lines 1 and 2 announce " + std::to_string(m_header.columns) + " x " +
                        std::to_string(m_header.rows) +
                        " cells, but the file is too short for them",
                    false);
}

/// All lines of cells have as many fields as the first.
void PtxReader::countFields() {
    std::string_view line;
    if (!m_lines.peek(line)) return;
    int fields = 0;
    for (double ignored = 0; takeNumber(line, ignored);)
        ++fields;
    m_fields = fields == kPtxColourFields ? kPtxColourFields : kPtxFields;
}

/// Reads one line; whether a point is in the cell.
bool PtxReader::readCell(CellPoint& point) {
    std::string_view line = nextLine("all cells were read");
    passCell();
    double share = 0;
    bool fits = takeNumber(line, point.x) && takeNumber(line, point.y) &&
                takeNumber(line, point.z) && takeNumber(line, share) && fitsFullScale(share);
    if (m_fields == kPtxColourFields) {
        fits = fits && takeColour(line, point.red) && takeColour(line, point.green) &&
               takeColour(line, point.blue);
    }
    if (!fits || !isBlank(line)) {
        fail(m_fields == kPtxColourFields
                 ? "not \"x y z intensity red green blue\" with colours from 0 to 255"
                 : "not \"x y z intensity\"",
             true);
    }
    point.intensity = toFullScale(share);
    return point.x != 0 || point.y != 0 || point.z != 0;
}

void PtxReader::requireEnd() {
    std::string_view line;
    while (m_lines.next(line)) {
        if (isBlank(line)) continue;
        double ignored = 0;
        const bool isSingleNumber = takeNumber(line, ignored) && isBlank(line);
        if (isSingleNumber) {
            fail("a second scan begins here; split the file into one scan a file");
        }
        fail("more lines than the " + std::to_string(m_header.columns) + " x " +
             std::to_string(m_header.rows) + " cells of lines 1 and 2");
    }
}

void PtxReader::read(std::vector<CellPoint>& points, std::size_t capacity) {
    points.clear();
    CellPoint point;
    while (m_column < m_header.columns && points.size() < capacity) {
        point.column = m_column;
        point.row = m_row;
        if (readCell(point)) points.push_back(point);
    }
    if (m_column == m_header.columns) requireEnd();
}

void PtxReader::passCell() {
    if (++m_row < m_header.rows) return;
    m_row = 0;
    ++m_column;
}

PtxInput::PtxInput(const std::string& path) {
    m_reader = std::make_unique<PtxReader>(path);
    const PtxHeader& header = m_reader->header();
    m_info.path = path;
    m_info.format = formatOf(path);
    m_info.hasGrid = true;
    m_info.columns = header.columns;
    m_info.rows = header.rows;
    m_info.alignment = toAlignment(header.matrix);
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
    report.alignment = toAlignment(reader.header().matrix);
    report.hasColour = reader.hasColour();
    return report;
}

}  // namespace brisko::scan
