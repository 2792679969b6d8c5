#include "scan/formats/ptx/ptx_output.h"

#include "scan/files/named_output.h"
#include "scan/formats/ptx/number_text.h"
#include "scan/formats/scan_output.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {
namespace {

constexpr std::string_view kEmptyCell = "0 0 0 0.5\n";
constexpr std::string_view kEmptyColouredCell = "0 0 0 0.5 0 0 0\n";

/// Seven numbers and their separators.
constexpr std::size_t kLongestLine = std::size_t{7} * (kLongestNumber + 1);

char* putInteger(char* out, std::uint32_t number) {
    return std::to_chars(out, out + kLongestNumber, number).ptr;
}

}  // namespace

void PtxWriter::writeHeader(const PtxHeader& header) {
    const auto writeLine = [this](std::initializer_list<double> numbers) {
        char* const line = m_file.reserve(kLongestLine);
        char* out = line;
        for (const double number : numbers) {
            if (out != line) *out++ = ' ';
            out = putCoordinate(out, number);
        }
        *out++ = '\n';
        m_file.giveBack(kLongestLine - static_cast<std::size_t>(out - line));
    };
    const Matrix& m = header.matrix;
    m_file.write(std::to_string(header.columns) + "\n" + std::to_string(header.rows) + "\n");
    writeLine({m[3], m[7], m[11]});
    for (std::size_t axis = 0; axis < 3; ++axis)
        writeLine({m[axis], m[4 + axis], m[8 + axis]});
    for (std::size_t column = 0; column < 4; ++column) {
        writeLine({m[column], m[4 + column], m[8 + column], m[12 + column]});
    }
}

void PtxWriter::writeColumn(std::span<const CellPoint> points, std::uint32_t rows) {
    std::uint32_t row = 0;
    for (const CellPoint& point : points) {
        writeEmptyCells(point.row - row);
        writePoint(point);
        row = point.row + 1;
    }
    writeEmptyCells(rows - row);
    m_file.require();
}

void PtxWriter::writePoint(const CellPoint& point) {
    char* const line = m_file.reserve(kLongestLine);
    char* out = putCoordinate(line, point.x);
    *out++ = ' ';
    out = putCoordinate(out, point.y);
    *out++ = ' ';
    out = putCoordinate(out, point.z);
    *out++ = ' ';
    out = putIntensity(out, point.intensity);
    if (m_withColour) {
        for (const std::uint8_t colour : {point.red, point.green, point.blue}) {
            *out++ = ' ';
            out = putInteger(out, colour);
        }
    }
    *out++ = '\n';
    m_file.giveBack(kLongestLine - static_cast<std::size_t>(out - line));
}

void PtxWriter::writeEmptyCells(std::uint64_t count) {
    const std::string_view cell = m_withColour ? kEmptyColouredCell : kEmptyCell;
    for (; count > 0; --count)
        m_file.write(cell);
}

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

/// Full grids as text, one after the other. Keeps the points of one column.
class PtxOutput : public ScanOutput {
public:
    explicit PtxOutput(const OutputTarget& target)
        : m_target(target),
          m_file(target.path, target.shownPath),
          m_writer(m_file, target.withColour) {
        m_writer.writeHeader(headerOf(target));
    }

    void nextScan(const OutputTarget& target) override {
        completeGrid();
        m_target = target;
        m_order = BandOrder(1, target.shownPath);
        m_column = 0;
        m_writer.setColour(target.withColour);
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
        completeGrid();
        m_file.close();
    }

private:
    void completeGrid() {
        while (m_column < m_target.columns)
            writeColumn();
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
