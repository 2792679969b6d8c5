#include "scan/formats/e57/scan_survey.h"

#include "base/ordered_work.h"
#include "scan/formats/e57/record_source.h"
#include "scan/formats/point_pieces.h"

#include <brisko_codec/threads.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace brisko::scan::e57 {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that native scans keep together
constexpr std::int64_t kMostCells = std::numeric_limits<std::int32_t>::max();

/// Whether columns never come before a band of them that passed.
class OrderWatch {
public:
    explicit OrderWatch(std::uint32_t bandColumns) : m_bandColumns(bandColumns) {}

    void add(std::int64_t column, std::int64_t first = 0) {
        std::int64_t place = 0;
        if (__builtin_sub_overflow(column, first, &place)) m_holds = false;
        const std::int64_t band = place / m_bandColumns;
        m_holds &= band >= m_last;
        m_last = band;
    }
    bool holds() const { return m_holds; }

private:
    std::uint32_t m_bandColumns;
    std::int64_t m_last = std::numeric_limits<std::int64_t>::min();
    bool m_holds = true;
};

void widen(std::optional<IndexBounds>& bounds, std::int64_t index) {
    if (!bounds) bounds = IndexBounds{index, index};
    bounds->minimum = std::min(bounds->minimum, index);
    bounds->maximum = std::max(bounds->maximum, index);
}

class Survey {
public:
    Survey(PageReader& pages, const Scan& scan) : m_scan(scan) {
        if (scan.hasGrid()) {
            m_column = want("columnIndex");
            m_row = want("rowIndex");
            for (const char* const name :
                 {"cartesianInvalidState", "sphericalInvalidState", "returnIndex"}) {
                if (const auto column = want(name)) m_states.push_back(*column);
            }
        }
        if (!namesIntensities(scan)) m_intensity = want("intensity");
        if (!m_fields.empty()) look(pages);
    }

    ScanSurvey result() const {
        ScanSurvey survey;
        survey.intensities = m_intensities;
        if (!m_column || !fitsGrid()) return survey;
        survey.columns = m_columns;
        survey.rows = m_rows;
        const bool startsThere = m_scan.columns && m_scan.columns->minimum == m_columns->minimum;
        if (m_single.holds()) {
            survey.bandColumns = 1;
        } else if (m_band.holds() && startsThere) {
            survey.bandColumns = kBand;
        }
        return survey;
    }

private:
    std::optional<std::size_t> want(const char* name) {
        const std::optional<std::size_t> field = m_scan.find(name);
        if (!field) return {};
        m_fields.push_back(*field);
        return m_fields.size() - 1;
    }

    void look(PageReader& pages) {
        m_columns = m_column ? m_scan.columns : std::nullopt;
        m_rows = m_column ? m_scan.rows : std::nullopt;
        RecordSource source(pages, m_scan, m_fields);
        PiecesAhead<RecordPiece> pieces(
            jobThreads(), [&](RecordPiece& piece) { return source.fetch(piece); },
            [&](RecordPiece& piece) { source.open(piece); }, kShortFilesAlone);
        while (const RecordPiece* const piece = pieces.next()) {
            for (const RecordColumns& records : piece->columns())
                look(records);
        }
    }

    void look(const RecordColumns& records) {
        if (m_column) {
            lookAtColumns(records);
            records.wholes(*m_row, [&](std::size_t, std::int64_t row) { widen(m_rows, row); });
            countPoints(records, records.count());
        }
        if (m_intensity) lookAtIntensities(records);
    }

    /// Records with a state or a return other than 0 become no points.
    void countPoints(const RecordColumns& records, std::size_t count) {
        m_isPoint.assign(count, 1);
        for (const std::size_t column : m_states) {
            records.numbers(column,
                            [&](std::size_t i, double state) { m_isPoint[i] &= state == 0; });
        }
        m_points += static_cast<std::uint64_t>(
            std::count(m_isPoint.begin(), m_isPoint.end(), std::uint8_t{1}));
    }

    void lookAtColumns(const RecordColumns& records) {
        // Bands of an output count from its first column.
        const std::int64_t first = m_scan.columns ? m_scan.columns->minimum : 0;
        records.wholes(*m_column, [&](std::size_t, std::int64_t column) {
            if (column == m_last) return;
            m_last = column;
            widen(m_columns, column);
            m_single.add(column);
            m_band.add(column, first);
        });
    }

    void lookAtIntensities(const RecordColumns& records) {
        records.numbers(*m_intensity, [&](std::size_t, double value) {
            if (!std::isfinite(value)) return;
            if (!m_intensities) m_intensities = IntensityRange{value, value};
            m_intensities->min = std::min(m_intensities->min, value);
            m_intensities->max = std::max(m_intensities->max, value);
        });
    }

    static std::int64_t countOf(const IndexBounds& bounds) {
        std::int64_t span = 0;
        if (__builtin_sub_overflow(bounds.maximum, bounds.minimum, &span)) return INT64_MAX;
        return span < INT64_MAX ? span + 1 : span;
    }

    /// Indices that are all alike, or otherwise fewer cells than points, are no cells of a grid.
    bool fitsGrid() const {
        if (!m_columns || !m_rows) return false;
        const std::int64_t columns = countOf(*m_columns), rows = countOf(*m_rows);
        if (columns > kMostCells || rows > kMostCells) return false;
        return static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows) >= m_points;
    }

    const Scan& m_scan;
    std::vector<std::size_t> m_fields;
    std::optional<std::size_t> m_column, m_row, m_intensity;  // columns of the record stream
    std::optional<IndexBounds> m_columns, m_rows;
    std::optional<IntensityRange> m_intensities;
    std::vector<std::size_t> m_states;    // columns of the record stream
    std::vector<std::uint8_t> m_isPoint;  // of the records at hand
    std::uint64_t m_points = 0;
    std::int64_t m_last = std::numeric_limits<std::int64_t>::min();
    OrderWatch m_single{1}, m_band{kBand};
};

}  // namespace

namespace {

/// At most kMostCells.
std::uint32_t cellsOf(const IndexBounds& bounds) {
    const auto span =
        static_cast<std::uint64_t>(bounds.maximum) - static_cast<std::uint64_t>(bounds.minimum);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(span, kMostCells - 1) + 1);
}

/// What a file says is believed as long as its records keep to it.
bool saysAll(const Scan& scan) {
    if (scan.bandColumns == 0 || !scan.hasGrid() || !scan.columns || !scan.rows) return false;
    const std::uint64_t columns = cellsOf(*scan.columns), rows = cellsOf(*scan.rows);
    return namesIntensities(scan) && scan.records <= columns * rows;
}

}  // namespace

bool namesIntensities(const Scan& scan) {
    const std::optional<std::size_t> field = scan.find("intensity");
    return !field || scan.intensityLimits || scan.fields[*field].isInteger();
}

ScanSurvey surveyScan(PageReader& pages, const Scan& scan) {
    if (saysAll(scan)) return {scan.columns, scan.rows, scan.bandColumns, {}};
    return Survey(pages, scan).result();
}

PointRule ruleOf(const ScanSurvey& survey) {
    PointRule rule;
    rule.intensities = survey.intensities;
    if (!survey.columns || !survey.rows) return rule;
    rule.hasGrid = true;
    rule.firstColumn = survey.columns->minimum;
    rule.firstRow = survey.rows->minimum;
    rule.columns = cellsOf(*survey.columns);
    rule.rows = cellsOf(*survey.rows);
    rule.bandColumns = survey.bandColumns;
    return rule;
}

}  // namespace brisko::scan::e57
