#include "scan/formats/e57/record_points.h"

#include "layouts/records.h"
#include "scan/formats/point_pieces.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>

namespace brisko::scan::e57 {
namespace {

constexpr const char* kCartesian[] = {"cartesianX", "cartesianY", "cartesianZ"};
constexpr const char* kSpherical[] = {"sphericalRange", "sphericalAzimuth", "sphericalElevation"};
constexpr const char* kColours[] = {"colorRed", "colorGreen", "colorBlue"};
constexpr double kFullColour = 255;

/// Range, azimuth and elevation that stand in the place of the coordinates.
void toCartesian(CellPoint& p) {
    const double range = p.x, azimuth = p.y, elevation = p.z;
    const double across = range * std::cos(elevation);
    p.x = across * std::cos(azimuth);
    p.y = across * std::sin(azimuth);
    p.z = range * std::sin(elevation);
}

std::uint8_t toByte(double colour) {
    return static_cast<std::uint8_t>(std::clamp(std::round(colour), 0.0, kFullColour));
}

}  // namespace

RecordPoints::RecordPoints(PageReader& pages, const Scan& scan, const PointRule& rule)
    : m_path(pages.path()),
      m_scan(scan),
      m_rule(rule),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return m_source->fetch(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    wantCoordinates(pages.path());
    m_returnIndex = want("returnIndex");
    if (rule.hasGrid) {
        m_column = want("columnIndex");
        m_row = want("rowIndex");
    }
    m_intensity = want("intensity");
    if (m_intensity) {
        m_intensityState = want("isIntensityInvalid");
        m_intensityScale = scaleTo(static_cast<double>(BriskoCodec::i_range), *m_intensity,
                                   rule.intensities ? rule.intensities : scan.intensityLimits);
    }
    if (scan.hasColour()) {
        for (std::size_t k = 0; k < 3; ++k) {
            m_colours[k] = want(kColours[k]);
            m_colourScales[k] = scaleTo(kFullColour, *m_colours[k], scan.colourLimits[k]);
        }
        m_colourState = want("isColorInvalid");
        m_bytesOfColour = areWholeBytes();
    }
    m_source.emplace(pages, scan, m_fields);
}

RecordPoints::Place RecordPoints::want(const char* field) {
    const std::optional<std::size_t> found = m_scan.find(field);
    if (!found) return {};
    m_fields.push_back(*found);
    return m_fields.size() - 1;
}

void RecordPoints::wantCoordinates(const std::string& path) {
    const auto hasAll = [&](const char* const(&names)[3]) {
        return std::all_of(std::begin(names), std::end(names),
                           [&](const char* name) { return m_scan.find(name).has_value(); });
    };
    const bool isCartesian = hasAll(kCartesian);
    m_isSpherical = !isCartesian && hasAll(kSpherical);
    if (!isCartesian && !m_isSpherical) {
        throw ScanError(ErrorKind::Damaged, path,
                        "the points of scan \"" + m_scan.name + "\" have no coordinates");
    }
    for (int axis = 0; axis < 3; ++axis)
        m_coordinates[axis] = want(m_isSpherical ? kSpherical[axis] : kCartesian[axis]);
    m_state = want(m_isSpherical ? "sphericalInvalidState" : "cartesianInvalidState");
}

/// Limits come from the scan, or else from the type of the field.
RecordPoints::Scale RecordPoints::scaleTo(double full, std::size_t column,
                                          const std::optional<IntensityRange>& limits) const {
    const Field& field = m_scan.fields[m_fields[column]];
    IntensityRange range{0, full};
    if (limits) {
        range = *limits;
    } else if (field.isInteger()) {
        range = {field.toValue(field.minimum), field.toValue(field.maximum)};
    }
    const double span = range.max - range.min;
    if (!std::isfinite(span) || span == 0) return {};
    return {range.min, full / span};
}

bool RecordPoints::areWholeBytes() const {
    for (std::size_t k = 0; k < 3; ++k) {
        const Field& field = m_scan.fields[m_fields[*m_colours[k]]];
        const bool fits = field.kind == Field::Kind::Integer && field.minimum >= 0 &&
                          field.maximum <= 255 && m_colourScales[k].minimum == 0 &&
                          m_colourScales[k].factor == 1;
        if (!fits) return false;
    }
    return true;
}

void RecordPoints::read(std::vector<CellPoint>& points) {
    points.clear();
    while (points.empty()) {
        Piece* const piece = m_pieces.next();
        if (!piece) return;
        if (!follows(piece->firstColumn, m_lastColumn)) failOrder();
        m_lastColumn = piece->lastColumn;
        m_done = piece->done();
        m_notFinite += piece->notFinite;
        points.swap(piece->points);
    }
}

void RecordPoints::decode(Piece& piece) const {
    m_source->open(piece);
    piece.points.resize(piece.count());
    piece.isInvalid.assign(piece.count(), 0);
    piece.firstColumn = piece.lastColumn = 0;
    CellPoint* out = piece.points.data();
    std::uint8_t* isInvalid = piece.isInvalid.data();
    for (const RecordColumns& records : piece.columns()) {
        readCoordinates(records, out);
        readIntensities(records, out);
        readColours(records, out);
        readCells(records, out, piece);
        markInvalid(records, isInvalid);
        out += records.count();
        isInvalid += records.count();
    }
    compact(piece);
}

void RecordPoints::readCoordinates(const RecordColumns& records, CellPoint* points) const {
    records.numbers(*m_coordinates[0], [=](std::size_t i, double value) { points[i].x = value; });
    records.numbers(*m_coordinates[1], [=](std::size_t i, double value) { points[i].y = value; });
    records.numbers(*m_coordinates[2], [=](std::size_t i, double value) { points[i].z = value; });
}

void RecordPoints::readIntensities(const RecordColumns& records, CellPoint* points) const {
    if (!m_intensity) {
        for (std::size_t i = 0; i < records.count(); ++i)
            points[i].intensity = 0;
        return;
    }
    const Scale scale = m_intensityScale;
    records.numbers(*m_intensity, [=](std::size_t i, double value) {
        points[i].intensity = static_cast<float>((value - scale.minimum) * scale.factor);
    });
    if (!m_intensityState) return;
    records.numbers(*m_intensityState, [=](std::size_t i, double state) {
        if (state != 0) points[i].intensity = 0;
    });
}

void RecordPoints::readColours(const RecordColumns& records, CellPoint* points) const {
    if (!m_colours[0]) {
        for (std::size_t i = 0; i < records.count(); ++i)
            points[i].red = points[i].green = points[i].blue = 0;
        return;
    }
    constexpr std::uint8_t CellPoint::*kMembers[] = {&CellPoint::red, &CellPoint::green,
                                                     &CellPoint::blue};
    for (std::size_t k = 0; k < 3; ++k) {
        const auto member = kMembers[k];
        const Scale scale = m_colourScales[k];
        if (m_bytesOfColour) {
            records.wholes(*m_colours[k], [=](std::size_t i, std::int64_t value) {
                points[i].*member = static_cast<std::uint8_t>(value);
            });
        } else {
            records.numbers(*m_colours[k], [=](std::size_t i, double value) {
                points[i].*member = toByte((value - scale.minimum) * scale.factor);
            });
        }
    }
    if (!m_colourState) return;
    records.numbers(*m_colourState, [=](std::size_t i, double state) {
        if (state != 0) points[i].red = points[i].green = points[i].blue = 0;
    });
}

/// What the file says of its grid holds for every record, or the file is damaged.
void RecordPoints::readCells(const RecordColumns& records, CellPoint* points, Piece& piece) const {
    if (!m_rule.hasGrid) {
        for (std::size_t i = 0; i < records.count(); ++i)
            points[i].column = points[i].row = 0;
        return;
    }
    const std::int64_t firstColumn = m_rule.firstColumn, firstRow = m_rule.firstRow;
    const bool isFirst = points == piece.points.data();
    std::uint32_t largestColumn = 0, largestRow = 0, last = piece.lastColumn;
    bool isInOrder = true;
    records.wholes(*m_column, [&](std::size_t i, std::int64_t column) {
        const auto place = static_cast<std::uint32_t>(column - firstColumn);
        points[i].column = place;
        if (place == last) return;
        isInOrder &= follows(place, last);
        largestColumn = std::max(largestColumn, place);
        last = place;
    });
    records.wholes(*m_row, [&](std::size_t i, std::int64_t row) {
        const auto place = static_cast<std::uint32_t>(row - firstRow);
        points[i].row = place;
        largestRow = std::max(largestRow, place);
    });
    if (isFirst) piece.firstColumn = points->column;
    piece.lastColumn = last;
    if (largestColumn >= m_rule.columns || largestRow >= m_rule.rows) {
        failDamaged("a record lies outside the grid that the file names");
    }
    if (!isInOrder) failOrder();
}

void RecordPoints::failOrder() const {
    failDamaged("its records are not in the order that the file names");
}

void RecordPoints::failDamaged(const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_path, "scan \"" + m_scan.name + "\": " + reason);
}

/// States other than 0 say that nothing, or only a direction was measured.
void RecordPoints::markInvalid(const RecordColumns& records, std::uint8_t* isInvalid) const {
    for (const Place place : {m_state, m_returnIndex}) {
        if (!place) continue;
        records.numbers(*place, [=](std::size_t i, double state) { isInvalid[i] |= state != 0; });
    }
}

void RecordPoints::compact(Piece& piece) const {
    std::vector<CellPoint>& points = piece.points;
    piece.notFinite = 0;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (piece.isInvalid[i] != 0) continue;
        CellPoint& point = points[i];
        if (m_isSpherical) toCartesian(point);
        if (!isFinite(point)) {
            ++piece.notFinite;
            continue;
        }
        if (kept != i) points[kept] = point;
        ++kept;
    }
    points.resize(kept);
}

}  // namespace brisko::scan::e57
