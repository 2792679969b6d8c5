#include "scan/view/view_grid.h"

#include "base/bytes.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

constexpr double kFarthest = 1'000'000;  // metres; ranges are 32-bit numbers

/// The line of the scan that a kept one is; lineKept is the reverse, or -1 where it is not kept.
std::uint64_t lineOf(std::uint64_t kept, std::uint64_t keptLines, std::uint64_t lines) {
    return (2 * kept + 1) * lines / (2 * keptLines);
}

std::int64_t lineKept(std::uint64_t line, std::uint64_t keptLines, std::uint64_t lines) {
    const std::uint64_t near = line * keptLines / lines;
    for (const std::uint64_t kept : {near, near + 1}) {
        if (kept < keptLines && lineOf(kept, keptLines, lines) == line) {
            return static_cast<std::int64_t>(kept);
        }
    }
    return -1;
}

std::int32_t toViewAngle(double radians) {
    return static_cast<std::int32_t>(std::lround(radians / kViewAngle));
}

/// To half a turn to either side.
std::int32_t wrapped(std::int32_t angle) {
    constexpr std::int32_t kTurn = 1 << 19;
    return (angle + kTurn + kTurn / 2) % kTurn - kTurn / 2;
}

/// Gives lines without a point the angles that their neighbours suggest.
void fillGaps(std::vector<std::int32_t>& angles, const std::vector<bool>& isKnown) {
    std::vector<std::size_t> known;
    for (std::size_t i = 0; i < angles.size(); ++i) {
        if (isKnown[i]) known.push_back(i);
    }
    if (known.size() < 2) return;
    const auto place = [&](std::size_t line, std::size_t from, std::size_t to) {
        const double step = static_cast<double>(wrapped(angles[to] - angles[from])) /
                            static_cast<double>(to - from);
        const double off = (static_cast<double>(line) - static_cast<double>(from)) * step;
        angles[line] = angles[from] + static_cast<std::int32_t>(std::lround(off));
    };
    // Ends go on as their nearest lines do; a few of them, so that noise does not count.
    const std::size_t few = std::min<std::size_t>(known.size() - 1, 50);
    for (std::size_t i = 0; i < known.front(); ++i)
        place(i, known.front(), known[few]);
    for (std::size_t i = known.back() + 1; i < angles.size(); ++i)
        place(i, known[known.size() - 1 - few], known.back());
    for (std::size_t k = 1; k < known.size(); ++k) {
        for (std::size_t i = known[k - 1] + 1; i < known[k]; ++i)
            place(i, known[k - 1], known[k]);
    }
}

void writeNumbers(const std::vector<std::int32_t>& numbers, PackedText& text) {
    std::vector<std::uint8_t> bytes(4 * numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i)
        store(bytes.data() + 4 * i, numbers[i]);
    text.write(bytes);
}

/// The middle of three guesses: either neighbour, or both with their corner as a plane.
std::uint32_t middleOf(std::int64_t above, std::int64_t left, std::int64_t corner) {
    const auto [low, high] = std::minmax(above, left);
    return static_cast<std::uint32_t>(std::clamp(above + left - corner, low, high));
}

}  // namespace

ViewGrid::ViewGrid(std::uint32_t columns, std::uint32_t rows, std::uint64_t most)
    : m_allColumns(columns), m_allRows(rows) {
    const double cells = static_cast<double>(columns) * rows;
    const double share = std::min(1.0, std::sqrt(static_cast<double>(most) / cells));
    const auto part = [](std::uint32_t lines, double wanted) {
        return static_cast<std::uint32_t>(std::clamp(wanted, 1.0, static_cast<double>(lines)));
    };
    // A grid of few lines keeps more of the others.
    m_columns = part(columns, columns * share);
    m_rows = part(rows, static_cast<double>(most) / m_columns);
    m_columns = part(columns, static_cast<double>(most) / m_rows);
    m_cells.resize(m_columns);
}

void ViewGrid::add(const CellPoint& p) {
    // Padding of the last tiles is no part of the grid.
    if (p.column >= m_allColumns || p.row >= m_allRows) return;
    const std::int64_t column = lineKept(p.column, m_columns, m_allColumns);
    const std::int64_t row = lineKept(p.row, m_rows, m_allRows);
    if (column < 0 || row < 0) return;
    const double flat = std::hypot(p.x, p.y);
    const double range = std::hypot(flat, p.z);
    if (range > kFarthest) {
        ++m_tooFar;
        return;
    }
    Column& cells = m_cells[static_cast<std::size_t>(column)];
    if (!cells) cells = std::make_unique<Cell[]>(m_rows);
    Cell& cell = cells[static_cast<std::size_t>(row)];
    if (cell.range == 0) ++m_kept;
    cell.range = std::max(1u, static_cast<std::uint32_t>(std::llround(range / kViewLength)));
    cell.azimuth = toViewAngle(std::atan2(p.y, p.x));
    cell.zenith = toViewAngle(std::atan2(flat, p.z));
    cell.values = ViewValues(p);
}

template <class Visit>
void ViewGrid::forEachPoint(const Visit& visit) const {
    for (std::uint32_t column = 0; column < m_columns; ++column) {
        if (!m_cells[column]) continue;
        for (std::uint32_t row = 0; row < m_rows; ++row) {
            const Cell& cell = m_cells[column][row];
            if (cell.range != 0) visit(column, row, cell);
        }
    }
}

std::vector<std::int32_t> ViewGrid::averageAzimuths() const {
    std::vector<double> x(m_columns), y(m_columns);
    forEachPoint([&](std::uint32_t column, std::uint32_t, const Cell& cell) {
        // Near the zenith the azimuth means little.
        const double weight = std::sin(cell.zenith * kViewAngle);
        x[column] += weight * std::cos(cell.azimuth * kViewAngle);
        y[column] += weight * std::sin(cell.azimuth * kViewAngle);
    });
    std::vector<std::int32_t> angles(m_columns);
    std::vector<bool> isKnown(m_columns);
    for (std::size_t i = 0; i < angles.size(); ++i) {
        angles[i] = toViewAngle(std::atan2(y[i], x[i]));
        isKnown[i] = x[i] != 0 || y[i] != 0;
    }
    fillGaps(angles, isKnown);
    return angles;
}

std::vector<std::int32_t> ViewGrid::averageZeniths() const {
    std::vector<double> sum(m_rows), count(m_rows);
    forEachPoint([&](std::uint32_t, std::uint32_t row, const Cell& cell) {
        sum[row] += cell.zenith;
        count[row] += 1;
    });
    std::vector<std::int32_t> angles(m_rows);
    std::vector<bool> isKnown(m_rows);
    for (std::size_t i = 0; i < angles.size(); ++i) {
        angles[i] = static_cast<std::int32_t>(std::lround(sum[i] / std::max(count[i], 1.0)));
        isKnown[i] = count[i] > 0;
    }
    fillGaps(angles, isKnown);
    return angles;
}

void ViewGrid::writePresence(PackedText& text) const {
    std::vector<std::uint8_t> bits((static_cast<std::size_t>(m_columns) * m_rows + 7) / 8);
    forEachPoint([&](std::uint32_t column, std::uint32_t row, const Cell&) {
        const std::size_t cell = std::size_t{column} * m_rows + row;
        bits[cell / 8] = static_cast<std::uint8_t>(bits[cell / 8] | 1 << cell % 8);
    });
    text.write(bits);
}

std::uint32_t ViewGrid::expectedRange(std::uint32_t column, std::uint32_t row,
                                      std::uint32_t last) const {
    const auto rangeAt = [&](std::uint32_t c, std::uint32_t r) {
        return m_cells[c] ? m_cells[c][r].range : 0;
    };
    const std::uint32_t above = row > 0 ? rangeAt(column, row - 1) : 0;
    const std::uint32_t left = column > 0 ? rangeAt(column - 1, row) : 0;
    const std::uint32_t corner = row > 0 && column > 0 ? rangeAt(column - 1, row - 1) : 0;
    if (above != 0 && left != 0) return corner != 0 ? middleOf(above, left, corner) : above;
    if (above != 0) return above;
    return left != 0 ? left : last;
}

void ViewGrid::write(PackedText& text) {
    const std::vector<std::int32_t> azimuths = averageAzimuths(), zeniths = averageZeniths();
    writeNumbers(azimuths, text);
    writeNumbers(zeniths, text);
    writePresence(text);
    BytePlanes ranges(4), azimuthsOff(3), zenithsOff(3);
    for (BytePlanes* planes : {&ranges, &azimuthsOff, &zenithsOff})
        planes->reserve(m_kept);
    ViewValuePlanes values;
    std::uint32_t last = 0;
    forEachPoint([&](std::uint32_t column, std::uint32_t row, const Cell& cell) {
        const std::uint32_t off = cell.range - expectedRange(column, row, last);
        ranges.add(zigzag(static_cast<std::int32_t>(off)));
        azimuthsOff.add(zigzag(wrapped(cell.azimuth - azimuths[column])));
        zenithsOff.add(zigzag(cell.zenith - zeniths[row]));
        values.add(cell.values);
        last = cell.range;
    });
    for (const BytePlanes* planes : {&ranges, &azimuthsOff, &zenithsOff})
        planes->write(text);
    values.write(text);
    m_hasColour = values.hasColour();
}

std::string ViewGrid::members() const {
    return "\"kind\":\"grid\",\"columns\":" + std::to_string(m_allColumns) +
           ",\"rows\":" + std::to_string(m_allRows) +
           ",\"keptColumns\":" + std::to_string(m_columns) +
           ",\"keptRows\":" + std::to_string(m_rows) +
           ",\"hasColour\":" + (m_hasColour ? "true," : "false,");
}

}  // namespace brisko::scan
