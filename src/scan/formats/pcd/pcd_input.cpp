#include "scan/formats/pcd/pcd_input.h"

#include "base/bytes.h"
#include "base/text.h"
#include "scan/files/input_file.h"
#include "scan/formats/pcd/viewpoint.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kMostCells = std::numeric_limits<std::uint32_t>::max() - 1;  // in a line

PcdHeader readHeader(const std::string& path) {
    InputFile file(path);
    std::string text(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), kPcdLongestHeader)), '\0');
    text.resize(file.read(text.data(), text.size()));
    PcdHeader header;
    std::string reason = parsePcdHeader(text, header);
    const bool isTooLarge =
        header.isOrganised() && (header.width > kMostCells || header.height > kMostCells);
    if (reason.empty() && isTooLarge) reason = "its grid is too large";
    if (!reason.empty()) throw ScanError(ErrorKind::Damaged, path, reason);
    return header;
}

/// The pose: our own matrix, as long as the viewpoint still is what we made of it.
Alignment alignmentOf(const std::string& path, const PcdHeader& header) {
    Alignment alignment;
    auto matrix = matrixOf(header.viewpoint);
    if (!matrix) throw ScanError(ErrorKind::Damaged, path, "VIEWPOINT is no pose");
    if (header.matrix && viewpointOf(*header.matrix, kPoseTolerance) == header.viewpoint) {
        matrix = header.matrix;
    }
    std::copy(matrix->begin(), matrix->end(), alignment.matrix);
    alignment.source = std::to_array(alignment.matrix) == kIdentityMatrix ? AlignmentSource::None
                                                                          : AlignmentSource::File;
    return alignment;
}

bool hasColour(const PcdHeader& header) {
    return header.field(PcdRole::Packed) ||
           (header.field(PcdRole::Red) && header.field(PcdRole::Green) &&
            header.field(PcdRole::Blue));
}

}  // namespace

PcdInput::PcdInput(const std::string& path, const ReadOptions& options)
    : m_header(readHeader(path)),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return m_blocks->fetch(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    m_info.path = path;
    m_info.format = formatOf(path);
    m_info.alignment = alignmentOf(path, m_header);
    m_info.records = m_header.points;
    m_info.storesColour = hasColour(m_header);
    m_blocks = openPcdBlocks(path, m_header);
    takeIntensities(options.intensities);
    if (m_header.isOrganised()) {
        m_info.hasGrid = true;
        m_info.columns = static_cast<std::uint32_t>(m_header.width);
        m_info.rows = static_cast<std::uint32_t>(m_header.height);
        m_info.bandColumns = std::max(m_info.columns, 1U);  // row by row
    } else {
        m_info.recordsArePoints = true;
        m_hasCellFields = m_header.field(PcdRole::Column) && m_header.field(PcdRole::Row);
    }
    survey();
}

void PcdInput::takeIntensities(const std::optional<IntensityRange>& range) {
    if (!range) return;
    m_intensityFactor = BriskoCodec::i_range / (range->max - range->min);
    m_intensityShift = -range->min * m_intensityFactor;
    if (std::isfinite(m_intensityFactor) && std::isfinite(m_intensityShift)) return;
    throw ScanError(ErrorKind::Request, m_info.path,
                    "the intensities cannot be scaled by that range");
}

/// Looks at all points for what only the largest numbers show: how separate colours are scaled, and how
/// large a grid is that columns and rows in fields make.
void PcdInput::survey() {
    const PcdField* const red = m_header.field(PcdRole::Red);
    const bool colours = m_info.storesColour && !m_header.field(PcdRole::Packed) && red->size > 1;
    if (!colours && !m_hasCellFields) return;
    std::array<double, kPcdRoles> largest{};
    PiecesAhead<PcdBlock> blocks(
        jobThreads(), [this](PcdBlock& block) { return m_blocks->fetch(block); },
        [this](PcdBlock& block) { m_blocks->decode(block); }, kShortFilesAlone);
    while (const PcdBlock* const block = blocks.next()) {
        for (std::size_t role = 0; role < kPcdRoles; ++role) {
            for (const double value : block->columns[role])
                largest[role] = std::max(largest[role], value);
        }
    }
    m_blocks->rewind();
    const auto of = [&](PcdRole role) { return largest[static_cast<std::size_t>(role)]; };
    if (colours) {
        const double most = std::max({of(PcdRole::Red), of(PcdRole::Green), of(PcdRole::Blue)});
        const bool isShare = red->type == 'F' && most <= 1;
        m_colourFactor = isShare ? 255 : most <= 255 ? 1 : 1 / 256.0;
    }
    m_hasCellFields =
        m_hasCellFields && of(PcdRole::Column) < kMostCells && of(PcdRole::Row) < kMostCells;
    if (!m_hasCellFields || m_header.points == 0) return;
    m_info.hasGrid = true;
    m_info.columns = static_cast<std::uint32_t>(of(PcdRole::Column)) + 1;
    m_info.rows = static_cast<std::uint32_t>(of(PcdRole::Row)) + 1;
    m_info.bandColumns = m_info.columns;
}

void PcdInput::rewind() {
    m_pieces.rewind();
    m_blocks->rewind();
    m_done = 0;
}

void PcdInput::read(std::vector<CellPoint>& points) {
    points.clear();
    while (points.empty()) {
        Piece* const piece = m_pieces.next();
        if (!piece) return;
        points.swap(piece->points);
        m_done += piece->count;
    }
}

namespace {

/// The values of columns.
struct ColumnValues {
    explicit ColumnValues(const PcdColumns& columns) {
        for (std::size_t role = 0; role < kPcdRoles; ++role)
            m_columns[role] = columns[role].empty() ? nullptr : columns[role].data();
    }
    bool has(PcdRole role) const { return of(role) != nullptr; }
    double get(PcdRole role, std::size_t i) const { return of(role)[i]; }

private:
    const double* of(PcdRole role) const { return m_columns[static_cast<std::size_t>(role)]; }

    const double* m_columns[kPcdRoles] = {};
};

/// The same out of records as nearly all are: coordinates are Coordinate, an intensity a float, a colour packed.
template <class Coordinate>
struct RecordValues {
    RecordValues(const PcdHeader& header, const std::uint8_t* records)
        : m_records(records), m_size(static_cast<std::size_t>(header.recordSize)) {
        for (std::size_t role = 0; role < kPcdRoles; ++role) {
            const PcdField* const field = header.field(static_cast<PcdRole>(role));
            m_has[role] = field != nullptr;
            m_offsets[role] = field ? static_cast<std::size_t>(field->offset) : 0;
        }
    }
    bool has(PcdRole role) const { return m_has[static_cast<std::size_t>(role)]; }
    double get(PcdRole role, std::size_t i) const {
        const std::uint8_t* const value =
            m_records + i * m_size + m_offsets[static_cast<std::size_t>(role)];
        if (role == PcdRole::Packed) return loadU32(value);
        return role == PcdRole::Intensity ? double{loadF32(value)}
                                          : static_cast<double>(load<Coordinate>(value));
    }

private:
    const std::uint8_t* m_records;
    std::size_t m_size;
    bool m_has[kPcdRoles] = {};
    std::size_t m_offsets[kPcdRoles] = {};
};

}  // namespace

/// Whether records can be taken without a way through columns.
bool PcdInput::hasUsualRecords() const {
    if (m_header.data != PcdData::Binary || m_hasCellFields) return false;
    const PcdField* const x = m_header.field(PcdRole::X);
    const auto is = [&](PcdRole role, std::uint32_t size) {
        const PcdField* const field = m_header.field(role);
        return field && field->type == 'F' && field->size == size;
    };
    const bool hasColour = m_header.field(PcdRole::Packed) || !m_info.storesColour;
    const PcdField* const packed = m_header.field(PcdRole::Packed);
    return is(PcdRole::X, x->size) && is(PcdRole::Y, x->size) && is(PcdRole::Z, x->size) &&
           (!m_header.field(PcdRole::Intensity) || is(PcdRole::Intensity, 4)) && hasColour &&
           (!packed || packed->size == 4);
}

void PcdInput::decode(Piece& piece) const {
    if (!hasUsualRecords()) {
        m_blocks->decode(piece);
        takePoints(ColumnValues(piece.columns), piece);
    } else if (m_header.field(PcdRole::X)->size == sizeof(float)) {
        takePoints(RecordValues<float>(m_header, piece.bytes.data()), piece);
    } else {
        takePoints(RecordValues<double>(m_header, piece.bytes.data()), piece);
    }
}

template <class Values>
void PcdInput::takePoints(Values values, Piece& piece) const {
    // All that the loop needs is local: bytes are stored in it, which could overlap what lies elsewhere.
    const bool isOrganised = m_header.isOrganised();
    const bool hasColour = m_info.storesColour, hasIntensity = values.has(PcdRole::Intensity),
               isPacked = values.has(PcdRole::Packed);
    const double intensityFactor = m_intensityFactor, intensityShift = m_intensityShift;
    const auto toCell = [](double value) {
        return static_cast<std::uint32_t>(std::min(double{kMostCells}, std::max(0.0, value)));
    };
    const auto toColour = [factor = m_colourFactor](double value) {
        // What is no number becomes 0.
        return static_cast<std::uint8_t>(std::min(255.0, std::max(0.0, value * factor)));
    };
    piece.points.resize(piece.count);
    CellPoint* out = piece.points.data();
    const std::uint32_t columns = m_info.columns;
    auto cellColumn = static_cast<std::uint32_t>(isOrganised ? piece.first % columns : 0);
    auto cellRow = static_cast<std::uint32_t>(isOrganised ? piece.first / columns : 0);
    const bool hasCells = m_hasCellFields;
    const std::size_t count = piece.count;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = values.get(PcdRole::X, i), y = values.get(PcdRole::Y, i),
                     z = values.get(PcdRole::Z, i);
        // Not 0 where one of them is not finite.
        const bool isPoint = (x - x) + (y - y) + (z - z) == 0;
        // In place: a point put together elsewhere would be copied before its parts are stored.
        CellPoint& point = *out;
        point.x = x;
        point.y = y;
        point.z = z;
        point.intensity = 0;
        point.red = point.green = point.blue = 0;
        if (hasIntensity) {
            const double scaled =
                values.get(PcdRole::Intensity, i) * intensityFactor + intensityShift;
            const bool isFloat = std::abs(scaled) <= std::numeric_limits<float>::max();
            point.intensity = isFloat ? static_cast<float>(scaled) : 0;
        }
        if (isPacked) {
            const auto colour = static_cast<std::uint32_t>(values.get(PcdRole::Packed, i));
            point.red = static_cast<std::uint8_t>(colour >> 16);
            point.green = static_cast<std::uint8_t>(colour >> 8);
            point.blue = static_cast<std::uint8_t>(colour);
        } else if (hasColour) {
            point.red = toColour(values.get(PcdRole::Red, i));
            point.green = toColour(values.get(PcdRole::Green, i));
            point.blue = toColour(values.get(PcdRole::Blue, i));
        }
        if (isOrganised) {
            point.column = cellColumn;
            point.row = cellRow;
            const bool isLast = ++cellColumn == columns;
            cellColumn = isLast ? 0 : cellColumn;
            cellRow += isLast ? 1 : 0;
        } else {
            point.column = hasCells ? toCell(values.get(PcdRole::Column, i)) : 0;
            point.row = hasCells ? toCell(values.get(PcdRole::Row, i)) : 0;
        }
        out += isPoint;
    }
    piece.points.resize(static_cast<std::size_t>(out - piece.points.data()));
}

namespace {

std::string fieldsText(const PcdHeader& header) {
    std::string text;
    for (const PcdField& field : header.fields) {
        text +=
            (text.empty() ? "" : ", ") + field.name + " " + field.type + std::to_string(field.size);
        if (field.count != 1) text += " x " + std::to_string(field.count);
    }
    return text;
}

const char* nameOf(PcdData data) {
    return data == PcdData::Ascii    ? "ascii"
           : data == PcdData::Binary ? "binary"
                                     : "binary_compressed";
}

}  // namespace

ScanReport describePcd(const std::string& path) {
    const PcdHeader header = readHeader(path);
    ScanReport report;
    report.path = path;
    report.format = formatOf(path);
    report.bytes = InputFile(path).size();
    report.alignment = alignmentOf(path, header);
    report.records = header.points;
    report.hasColour = hasColour(header);
    report.hasGrid = header.isOrganised();
    if (report.hasGrid) {
        report.columns = static_cast<std::uint32_t>(header.width);
        report.rows = static_cast<std::uint32_t>(header.height);
    }
    report.details = {{"version", header.version},
                      {"data", nameOf(header.data)},
                      {"points", std::to_string(header.points)},
                      {"fields", fieldsText(header)}};
    try {
        openPcdBlocks(path, header);
    } catch (const ScanError& error) {
        report.problems.emplace_back(error.what());
    }
    return report;
}

void checkPcd(ScanCheck& check, const ProgressFunction& function) {
    const InputFile readable(check.path);
    try {
        PcdInput input(check.path, {});
        TaskProgress progress(function, "check", input.steps(), input.stepUnit());
        std::vector<CellPoint> points;
        for (input.read(points); !points.empty(); input.read(points)) {
            check.points += points.size();
            check.records = input.stepsDone();
            progress.advanceTo(input.stepsDone());
        }
        check.records = input.stepsDone();
        if (!input.info().recordsArePoints || check.points == check.records) return;
        check.notes.push_back(countOf(check.records - check.points, "point") + " of " +
                              std::to_string(check.records) + " without finite numbers");
    } catch (const ScanError& error) {
        if (error.kind() != ErrorKind::Damaged) throw;
        check.findings.add({"structure", check.path, {}, error.place().offset, error.reason()});
    }
}

}  // namespace brisko::scan
