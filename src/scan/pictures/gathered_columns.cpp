#include "scan/pictures/gathered_columns.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

constexpr double kFarthest = 1e9;  // metres; beyond it nothing was measured

std::uint32_t placeOf(std::uint32_t cell, double step, std::uint32_t size) {
    return std::min(static_cast<std::uint32_t>(cell * step), size - 1);
}

}  // namespace

GatheredColumns::GatheredColumns(const GatherShape& shape, GatheredValue value)
    : m_shape(shape),
      m_value(value),
      m_acrossStep(static_cast<double>(shape.width) / std::max(shape.columns, 1U)),
      m_downStep(static_cast<double>(shape.height) / std::max(shape.rows, 1U)),
      m_columns(shape.width) {
}

void GatheredColumns::add(std::span<const CellPoint> points) {
    switch (m_value) {
        case GatheredValue::Position:
            return addValues<GatheredValue::Position>(points);
        case GatheredValue::Intensity:
            return addValues<GatheredValue::Intensity>(points);
        case GatheredValue::Colour:
            return addValues<GatheredValue::Colour>(points);
    }
}

template <GatheredValue value>
void GatheredColumns::addValues(std::span<const CellPoint> points) {
    const std::uint32_t band = std::max(m_shape.bandColumns, 1U);
    for (const CellPoint& p : points) {
        if (p.column >= m_shape.columns || p.row >= m_shape.rows) continue;
        const std::uint32_t x = placeOf(p.column, m_acrossStep, m_shape.width);
        if (x < m_complete) continue;
        std::vector<GatheredCell>& column = m_columns[x];
        if (column.empty()) {
            column.resize(m_shape.height);
            // A new column is the only place where a band can begin.
            m_complete =
                std::max(m_complete, placeOf(p.column / band * band, m_acrossStep, m_shape.width));
        }
        GatheredCell& cell = column[placeOf(p.row, m_downStep, m_shape.height)];
        if constexpr (value == GatheredValue::Position) {
            if (!(std::abs(p.x) + std::abs(p.y) + std::abs(p.z) <= kFarthest)) continue;
            cell.values[0] += static_cast<float>(p.x);
            cell.values[1] += static_cast<float>(p.y);
            cell.values[2] += static_cast<float>(p.z);
        } else if constexpr (value == GatheredValue::Intensity) {
            if (!std::isfinite(p.intensity)) continue;
            cell.values[0] += p.intensity;
        } else {
            cell.values[0] += p.red;
            cell.values[1] += p.green;
            cell.values[2] += p.blue;
        }
        ++cell.count;
    }
}

std::vector<GatheredCell> GatheredColumns::take(std::uint32_t column) {
    std::vector<GatheredCell> cells;
    cells.swap(m_columns[column]);
    for (GatheredCell& cell : cells) {
        if (cell.count < 2) continue;
        const float share = 1 / static_cast<float>(cell.count);
        for (float& value : cell.values)
            value *= share;
    }
    return cells;
}

}  // namespace brisko::scan
