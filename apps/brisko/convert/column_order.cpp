#include "convert/column_order.h"

#include "common/failure.h"

#include <algorithm>

namespace brisko::tool {
namespace {

constexpr std::size_t kBatch = 1 << 15;  // points handed out at a time

}  // namespace

ColumnOrder::ColumnOrder(std::uint32_t bandColumns, const std::string& scan, Sink sink)
    : m_bandColumns(bandColumns), m_scan(scan), m_sink(std::move(sink)) {
}

void ColumnOrder::add(std::span<const CellPoint> points) {
    for (const CellPoint& point : points) {
        const std::uint32_t band = point.column / m_bandColumns;
        if (band < m_band) {
            throw Failure(ExitCode::Damaged,
                          m_scan + ": its index is not in column order: column " +
                              std::to_string(point.column) + " comes after later ones");
        }
        if (band > m_band) {
            handOut();
            m_band = band;
        }
        m_points.push_back(point);
    }
}

void ColumnOrder::handOut() {
    // Where each column's points begin among the sorted ones, then which point stands where: a
    // second array of numbers is smaller than a second array of points.
    std::vector<std::size_t> next(m_bandColumns + std::size_t{1});
    for (const CellPoint& point : m_points)
        ++next[point.column % m_bandColumns + 1];
    for (std::size_t i = 1; i < next.size(); ++i)
        next[i] += next[i - 1];
    std::vector<std::uint32_t> order(m_points.size());
    for (std::uint32_t i = 0; i < m_points.size(); ++i) {
        order[next[m_points[i].column % m_bandColumns]++] = i;
    }
    std::vector<CellPoint> batch;
    for (std::size_t begin = 0; begin < order.size(); begin += kBatch) {
        const std::size_t end = std::min(order.size(), begin + kBatch);
        batch.clear();
        for (std::size_t i = begin; i < end; ++i)
            batch.push_back(m_points[order[i]]);
        m_sink(batch);
    }
    m_points.clear();
}

void ColumnOrder::finish() {
    handOut();
}

}  // namespace brisko::tool
