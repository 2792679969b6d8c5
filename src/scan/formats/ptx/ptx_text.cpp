#include "scan/formats/ptx/ptx_text.h"

#include "scan/formats/ptx/number_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

namespace brisko::scan {
namespace {

/// Seven numbers and their separators.
constexpr std::size_t kLongestLine = std::size_t{7} * (kLongestNumber + 1);

/// Runs of empty cells up to this stand in the text.
constexpr std::uint64_t kShortRun = 64;

/// Many empty cells, one after the other.
struct EmptyCells {
    static constexpr std::size_t kMost = 4096;

    explicit EmptyCells(std::string_view cell) : size(cell.size()) {
        for (std::size_t i = 0; i < kMost; ++i)
            text += cell;
    }
    std::string_view first(std::uint64_t count) const {
        return {text.data(), static_cast<std::size_t>(count) * size};
    }

    std::size_t size;  // of a cell
    std::string text;
};

const EmptyCells& emptyCells(bool withColour) {
    static const EmptyCells kPlain("0 0 0 0.5\n"), kColoured("0 0 0 0.5 0 0 0\n");
    return withColour ? kColoured : kPlain;
}

}  // namespace

void PtxText::clear() {
    m_size = 0;
    m_gaps.clear();
}

/// Room for so many bytes after the text.
char* PtxText::reserve(std::size_t size) {
    if (m_text.size() - m_size < size) m_text.resize(std::max(2 * m_text.size(), m_size + size));
    return m_text.data() + m_size;
}

void PtxText::putHeader(const PtxHeader& header) {
    const auto putLine = [this](std::initializer_list<double> numbers) {
        char* out = reserve(kLongestLine);
        for (const double number : numbers) {
            out = putCoordinate(out, number);
            *out++ = ' ';
        }
        out[-1] = '\n';
        m_size = static_cast<std::size_t>(out - m_text.data());
    };
    const Matrix& m = header.matrix;
    putLine({static_cast<double>(header.columns)});
    putLine({static_cast<double>(header.rows)});
    putLine({m[3], m[7], m[11]});
    for (std::size_t axis = 0; axis < 3; ++axis)
        putLine({m[axis], m[4 + axis], m[8 + axis]});
    for (std::size_t column = 0; column < 4; ++column) {
        putLine({m[column], m[4 + column], m[8 + column], m[12 + column]});
    }
}

void PtxText::putColumn(std::span<const CellPoint> points, std::uint32_t rows) {
    std::uint32_t row = 0;
    for (const CellPoint& point : points) {
        if (point.row > row) putEmptyCells(point.row - row);
        putPoint(point);
        row = point.row + 1;
    }
    putEmptyCells(rows - row);
}

void PtxText::putPoint(const CellPoint& point) {
    char* out = putCoordinate(reserve(kLongestLine), point.x);
    *out++ = ' ';
    out = putCoordinate(out, point.y);
    *out++ = ' ';
    out = putCoordinate(out, point.z);
    *out++ = ' ';
    out = m_intensities.put(out, point.intensity);
    if (m_withColour) {
        for (const std::uint8_t colour : {point.red, point.green, point.blue}) {
            *out++ = ' ';
            out = std::to_chars(out, out + kLongestNumber, unsigned{colour}).ptr;
        }
    }
    *out++ = '\n';
    m_size = static_cast<std::size_t>(out - m_text.data());
}

void PtxText::putEmptyCells(std::uint64_t count) {
    if (count == 0) return;
    const bool joinsGap = !m_gaps.empty() && m_gaps.back().at == m_size;
    if (joinsGap && m_gaps.back().withColour == m_withColour) {
        m_gaps.back().cells += count;
    } else if (count > kShortRun) {
        m_gaps.push_back({m_size, count, m_withColour});
    } else {
        const std::string_view cells = emptyCells(m_withColour).first(count);
        std::memcpy(reserve(cells.size()), cells.data(), cells.size());
        m_size += cells.size();
    }
}

void PtxText::writeTo(NamedOutput& file) const {
    std::size_t done = 0;
    const auto writeUpTo = [&](std::size_t end) {
        file.write(m_text.data() + done, end - done);
        done = end;
    };
    for (const Gap& gap : m_gaps) {
        writeUpTo(gap.at);
        for (std::uint64_t left = gap.cells; left > 0;) {
            const std::uint64_t some = std::min<std::uint64_t>(left, EmptyCells::kMost);
            file.write(emptyCells(gap.withColour).first(some));
            left -= some;
        }
    }
    writeUpTo(m_size);
}

}  // namespace brisko::scan
