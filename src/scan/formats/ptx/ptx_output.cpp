#include "scan/files/named_output.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/ptx/ptx_text.h"
#include "scan/formats/scan_output.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {
namespace {

PtxHeader headerOf(const OutputTarget& target) {
    PtxHeader header;
    header.columns = target.columns;
    header.rows = target.rows;
    header.matrix = target.matrix;
    return header;
}

bool risesByRow(const CellPoint& a, const CellPoint& b) {
    return a.row < b.row;
}

/// Whole columns, one after the other.
struct Columns {
    std::optional<PtxHeader> header;  // before them
    std::uint32_t first = 0, end = 0;
    std::uint32_t rows = 0;
    bool withColour = false;
    std::vector<CellPoint> points;
    PtxText text;
};

/// Full grids as text, one after the other. Keeps the points of some columns.
class PtxOutput : public ScanOutput {
public:
    explicit PtxOutput(const OutputTarget& target)
        : m_target(target),
          m_file(target.path, target.shownPath),
          m_piecePoints(jobThreads() > 1 ? kPiecePoints : 1),
          m_pieces(
              jobThreads(), [this](Columns& columns) { encode(columns); },
              [this](const Columns& columns) { columns.text.writeTo(m_file); }, kShortFilesAlone) {
        begin(headerOf(target));
    }

    void nextScan(const OutputTarget& target) override {
        give(m_target.columns);
        m_target = target;
        m_order = BandOrder(1, target.shownPath);
        m_column = 0;
        begin(headerOf(target));
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& point : points) {
            if (!canStore(point)) continue;
            if (point.column != m_column) goTo(point.column);
            count(point);
            m_columns->points.push_back(point);
        }
    }

    void finish() override {
        give(m_target.columns);
        m_pieces.finish();
        m_file.close();
    }

private:
    void begin(const std::optional<PtxHeader>& header) {
        m_columns = &m_pieces.free();
        m_columns->header = header;
        m_columns->first = m_column;
        m_columns->rows = m_target.rows;
        m_columns->withColour = m_target.withColour;
        m_columns->points.clear();
        m_columnStart = 0;
    }

    /// The columns at hand are complete.
    void give(std::uint32_t end) {
        m_columns->end = end;
        m_pieces.give();
    }

    void goTo(std::uint32_t column) {
        if (column < m_column) finishEarlier();
        m_order.require(column);
        if (m_columns->points.size() >= m_piecePoints) {
            give(column);
            m_column = column;
            begin({});
        }
        m_column = column;
        m_columnStart = m_columns->points.size();
    }

    /// Where the order is wrong: what is wrong with earlier columns comes out first.
    void finishEarlier() {
        m_columns->points.resize(m_columnStart);
        give(m_column);
        m_pieces.finish();
    }

    bool canStore(const CellPoint& p) {
        if (p.column >= m_target.columns || p.row >= m_target.rows) {
            ++m_leftOut.outsideGrid;
        } else if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z) ||
                   !std::isfinite(p.intensity)) {
            ++m_leftOut.notFinite;
        } else if (p.x == 0 && p.y == 0 && p.z == 0) {
            ++m_leftOut.atScanner;
        } else {
            return true;
        }
        return false;
    }

    void encode(Columns& columns) const {
        columns.text.clear();
        columns.text.setColour(columns.withColour);
        if (columns.header) columns.text.putHeader(*columns.header);
        std::uint32_t next = columns.first;
        const auto end = columns.points.end();
        for (auto first = columns.points.begin(); first != end;) {
            const std::uint32_t column = first->column;
            const auto last = std::find_if(
                first, end, [column](const CellPoint& p) { return p.column != column; });
            const std::span<CellPoint> points(first, last);
            sortByRow(points);
            columns.text.putEmptyCells(std::uint64_t{column - next} * columns.rows);
            columns.text.putColumn(points, columns.rows);
            next = column + 1;
            first = last;
        }
        columns.text.putEmptyCells(std::uint64_t{columns.end - next} * columns.rows);
    }

    void sortByRow(std::span<CellPoint> points) const {
        // Odd columns of raw scans come from the last row to the first.
        if (!std::is_sorted(points.begin(), points.end(), risesByRow)) {
            std::stable_sort(points.begin(), points.end(), risesByRow);
        }
        for (std::size_t i = 1; i < points.size(); ++i) {
            if (points[i].row != points[i - 1].row) continue;
            throw ScanError(ErrorKind::Damaged, m_shownPath,
                            "the input has two points in column " +
                                std::to_string(points[i].column) + ", row " +
                                std::to_string(points[i].row));
        }
    }

    OutputTarget m_target;
    const std::string m_shownPath = m_target.shownPath;
    BandOrder m_order{1, m_target.shownPath};
    NamedOutput m_file;
    std::size_t m_piecePoints;      // after so many a piece ends with its column
    std::uint32_t m_column = 0;     // the one being gathered
    std::size_t m_columnStart = 0;  // in the points at hand
    Columns* m_columns = nullptr;   // at hand
    PiecesBehind<Columns> m_pieces;
};

}  // namespace

std::unique_ptr<ScanOutput> createPtxOutput(const OutputTarget& target) {
    return std::make_unique<PtxOutput>(target);
}

}  // namespace brisko::scan
