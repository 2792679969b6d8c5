#include "scan/formats/ptx/ptx_reader.h"

#include "scan/formats/point_pieces.h"
#include "scan/formats/ptx/number_text.h"
#include "scan/formats/scan_choice.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/threads.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace brisko::scan {
namespace {

/// The shortest line of a cell: "0 0 0" and its end.
constexpr std::uint64_t kShortestCell = 6;  // bytes

}  // namespace

PtxDamage::PtxDamage(const std::string& path, std::uint64_t line, const std::string& reason,
                     bool isCell)
    : ScanError(ErrorKind::Damaged, path,
                (line > 0 ? "line " + std::to_string(line) + ": " : "") + reason),
      m_line(line),
      m_reason(reason),
      m_isCell(isCell) {
}

PtxReader::PtxReader(const std::string& path, std::optional<IntensityRange> intensities)
    : m_lines(path) {
    m_cells.intensities = intensities;
    readHeader();
}

void PtxReader::fail(const std::string& reason, bool isCell) const {
    throw PtxDamage(m_lines.path(), m_lines.number(), reason, isCell);
}

void PtxReader::failAtEnd(const char* what) const {
    throw PtxDamage(
        m_lines.path(), 0,
        "the file ends after line " + std::to_string(m_lines.number()) + ", before " + what, false);
}

std::string_view PtxReader::nextLine(const char* what) {
    std::string_view line;
    do {
        if (!m_lines.next(line)) failAtEnd(what);
    } while (isComment(line));
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
    readCounts();
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
    m_column = m_row = 0;
    requireRoomForCells();
    lookAtCells();
}

void PtxReader::readCounts() {
    m_header.columns = readCount("the columns");
    m_countLines = "lines " + std::to_string(m_lines.number());
    m_header.rows = m_cells.rows = readCount("the rows");
    m_countLines += " and " + std::to_string(m_lines.number());
}

/// Refuses a grid that the file is too small for, before anything is sized by it.
void PtxReader::requireRoomForCells() {
    const std::uint64_t left = m_lines.size() - m_lines.position();
    if ((left + 1) / kShortestCell >= cellsOfScan()) return;  // the last line may lack its end
    throw PtxDamage(m_lines.path(), 0,
                    m_countLines + " announce " + std::to_string(m_header.columns) + " x " +
                        std::to_string(m_header.rows) +
                        " cells, but the file is too short for them",
                    false);
}

void PtxReader::lookAtCells() {
    std::size_t longest = 0;
    LineFields& fields = m_cells.fields;
    fields = fieldsOf(m_lines.lookAhead(), longest);
    if (fields.count != 3 && !fields.hasIntensity) fields = {.count = 4, .hasIntensity = true};

    constexpr std::uint64_t kBlankEnd = 4096;  // bytes
    const std::uint64_t left = m_lines.size() - m_lines.position();
    m_mustHoldMore = left > kBlankEnd && (left - kBlankEnd) / cellsOfScan() > longest;
}

/// Reads one line; whether a point is in the cell.
bool PtxReader::readCell(CellPoint& point) {
    std::string_view line;
    if (!m_lines.next(line)) failAtEnd("all cells were read");
    const bool fits = m_cells.take(line, point);
    if (!fits && isComment(line)) return false;
    passCell();
    if (fits) return point.x != 0 || point.y != 0 || point.z != 0;
    if (!m_cells.isMissingReturn(line)) fail("not " + std::string(nameOf(m_cells.fields)), true);
    return false;
}

bool PtxReader::isNextScan() {
    std::string_view line;
    while (m_lines.peek(line)) {
        if (!isBlank(line) && !isComment(line)) {
            double ignored = 0;
            if (takeNumber(line, ignored) && isBlank(line)) return true;
            m_lines.next(line);
            fail("more lines than the " + std::to_string(m_header.columns) + " x " +
                 std::to_string(m_header.rows) + " cells of " + m_countLines);
        }
        m_lines.next(line);
    }
    return false;
}

bool PtxReader::nextScan() {
    const std::uint64_t left = cellsOfScan() - cells();
    if (m_lines.pass(left) < left) failAtEnd("all cells were read");
    if (!isNextScan()) return false;
    readHeader();
    return true;
}

void PtxReader::read(std::vector<CellPoint>& points, std::size_t capacity) {
    points.clear();
    CellPoint point;
    while (m_column < m_header.columns && points.size() < capacity) {
        point.column = m_column;
        point.row = m_row;
        if (readCell(point)) points.push_back(point);
    }
    if (m_column == m_header.columns) isNextScan();
}

bool PtxReader::take(PtxStretch& stretch) {
    stretch.firstCell = cells();
    const std::uint64_t left = cellsOfScan() - stretch.firstCell;
    if (left == 0) return false;
    if (!m_lines.take(stretch.lines)) failAtEnd("all cells were read");
    std::size_t end = 0;
    stretch.cells = countLines(stretch.lines.text(), left, end);
    if (end < stretch.lines.size) m_lines.giveBack(stretch.lines, end);
    const std::uint64_t passed = stretch.firstCell + stretch.cells;
    m_column = static_cast<std::uint32_t>(passed / m_header.rows);
    m_row = static_cast<std::uint32_t>(passed % m_header.rows);
    return true;
}

void PtxReader::passCell() {
    if (++m_row < m_header.rows) return;
    m_row = 0;
    ++m_column;
}

namespace {

struct PtxScan {
    ScanEntry entry;
    std::uint64_t end = 0;  // in the file
};

ScanEntry entryOf(const PtxReader& reader) {
    const PtxHeader& header = reader.header();
    ScanEntry entry;
    entry.records = std::uint64_t{header.columns} * header.rows;
    entry.hasGrid = true;
    entry.columns = header.columns;
    entry.rows = header.rows;
    entry.alignment = toAlignment(header.matrix);
    entry.hasColour = reader.hasColour();
    return entry;
}

/// Goes through a whole file, over its cells. Damage that is met on the way ends the list.
std::vector<PtxScan> walk(PtxReader& reader, std::optional<PtxDamage>& damage) {
    std::vector<PtxScan> scans;
    try {
        do {
            if (!scans.empty()) scans.back().end = reader.bytesRead();
            scans.push_back({entryOf(reader), reader.bytes()});
        } while (reader.nextScan());
    } catch (const PtxDamage& error) {
        damage = error;
    }
    return scans;
}

}  // namespace

PtxInput::PtxInput(const std::string& path, const ReadOptions& options)
    : m_options(options),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return m_reader->take(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    m_info.path = path;
    rewind();
    m_end = m_reader->bytes();
    if (!options.scan.empty() || m_reader->mustHoldMore()) choose();
    const ScanEntry entry = entryOf(*m_reader);
    m_info.format = formatOf(path);
    m_info.hasGrid = true;
    m_info.columns = entry.columns;
    m_info.rows = entry.rows;
    m_info.alignment = entry.alignment;
    m_info.storesColour = entry.hasColour;
    m_info.isColoured = entry.hasColour;
}

/// Finds the scan that is asked for. Scans of a PTX file have no names.
void PtxInput::choose() {
    std::optional<PtxDamage> damage;
    const std::vector<PtxScan> scans = walk(*m_reader, damage);
    try {
        if (damage && m_options.scan.empty()) throw *damage;
        m_scan = chooseScan(m_info.path, std::vector<std::string>(scans.size()), m_options.scan);
    } catch (const ScanError&) {
        if (damage) throw *damage;  // how many scans there are is not known
        throw;
    }
    m_end = scans[m_scan].end;
    rewind();
}

void PtxInput::read(std::vector<CellPoint>& points) {
    points.clear();
    while (points.empty()) {
        Piece* const piece = m_pieces.next();
        if (!piece) break;
        points.swap(piece->points);
        m_done = piece->lines.end;
        m_foreignIntensity |= piece->foreignIntensity;
    }
    // The size of the file did not show it.
    if (points.empty() && m_reader->isNextScan() && m_options.scan.empty()) choose();
}

void PtxInput::decode(Piece& piece) const {
    decodePtx(m_info.path, m_reader->cellsAre(), piece, piece.points);
    piece.foreignIntensity = std::any_of(
        piece.points.begin(), piece.points.end(),
        [](const CellPoint& p) { return p.intensity < 0 || p.intensity > BriskoCodec::i_range; });
}

void PtxInput::rewind() {
    m_pieces.rewind();
    m_reader = std::make_unique<PtxReader>(m_info.path, m_options.intensities);
    for (std::size_t scan = 0; scan < m_scan; ++scan)
        m_reader->nextScan();
    m_done = m_reader->bytesRead();
}

std::string PtxInput::remark() const {
    if (!m_foreignIntensity || m_options.intensities) return {};
    return "some intensities are not from 0 to 1; all were taken times 2200 nevertheless";
}

ScanReport describePtx(const std::string& path) {
    PtxReader reader(path);
    ScanReport report;
    report.path = path;
    report.format = formatOf(path);
    report.bytes = reader.bytes();
    std::optional<PtxDamage> damage;
    for (PtxScan& scan : walk(reader, damage))
        report.scans.push_back(std::move(scan.entry));
    if (damage) report.problems.emplace_back(damage->what());
    const ScanEntry& first = report.scans.front();
    report.hasGrid = true;
    report.columns = first.columns;
    report.rows = first.rows;
    report.alignment = first.alignment;
    report.hasColour = first.hasColour;
    return report;
}

std::vector<ScanEntry> listPtx(const std::string& path) {
    return describePtx(path).scans;
}

}  // namespace brisko::scan
