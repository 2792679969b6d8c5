#include "scan/files/named_output.h"
#include "scan/formats/ptx/ptx_writer.h"
#include "scan/formats/scan_output.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace brisko::scan {
namespace {

PtxHeader headerOf(const OutputTarget& target) {
    PtxHeader header;
    header.columns = target.columns;
    header.rows = target.rows;
    std::copy(std::begin(target.matrix), std::end(target.matrix), header.matrix);
    return header;
}

bool risesByRow(const CellPoint& a, const CellPoint& b) {
    return a.row < b.row;
}

/// The full grid as text. Keeps the points of one column.
class PtxOutput : public ScanOutput {
public:
    explicit PtxOutput(const OutputTarget& target)
        : m_target(target),
          m_file(target.path, target.shownPath),
          m_writer(m_file, target.withColour) {
        m_writer.writeHeader(headerOf(target));
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& point : points) {
            if (!canStore(point)) continue;
            m_order.require(point.column);
            while (m_column < point.column)
                writeColumn();
            count(point);
            m_cells.push_back(point);
        }
    }

    void finish() override {
        while (m_column < m_target.columns)
            writeColumn();
        m_file.close();
    }

private:
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

    void writeColumn() {
        // Odd columns of raw scans come from the last row to the first.
        if (!std::is_sorted(m_cells.begin(), m_cells.end(), risesByRow)) {
            std::stable_sort(m_cells.begin(), m_cells.end(), risesByRow);
        }
        requireOneARow();
        m_writer.writeColumn(m_cells, m_target.rows);
        m_cells.clear();
        ++m_column;
    }

    void requireOneARow() const {
        for (std::size_t i = 1; i < m_cells.size(); ++i) {
            if (m_cells[i].row != m_cells[i - 1].row) continue;
            throw ScanError(ErrorKind::Damaged, m_target.shownPath,
                            "the input has two points in column " + std::to_string(m_column) +
                                ", row " + std::to_string(m_cells[i].row));
        }
    }

    OutputTarget m_target;
    BandOrder m_order{1, m_target.shownPath};
    NamedOutput m_file;
    PtxWriter m_writer;
    std::uint32_t m_column = 0;  // the one being gathered
    std::vector<CellPoint> m_cells;
};

}  // namespace

std::unique_ptr<ScanOutput> createPtxOutput(const OutputTarget& target) {
    return std::make_unique<PtxOutput>(target);
}

}  // namespace brisko::scan
