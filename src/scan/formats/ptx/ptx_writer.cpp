#include "scan/formats/ptx/ptx_writer.h"

#include "scan/formats/ptx/number_text.h"

#include <charconv>
#include <initializer_list>
#include <string>
#include <string_view>

namespace brisko::scan {
namespace {

constexpr std::string_view kEmptyCell = "0 0 0 0.5\n";
constexpr std::string_view kEmptyColouredCell = "0 0 0 0.5 0 0 0\n";

/// Seven numbers and their separators.
constexpr std::size_t kLongestLine = std::size_t{kPtxColourFields} * (kLongestNumber + 1);

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
    const double* m = header.matrix;
    m_file.write(std::to_string(header.columns) + "\n" + std::to_string(header.rows) + "\n");
    writeLine({m[3], m[7], m[11]});
    for (int axis = 0; axis < 3; ++axis)
        writeLine({m[axis], m[4 + axis], m[8 + axis]});
    for (int column = 0; column < 4; ++column) {
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

}  // namespace brisko::scan
