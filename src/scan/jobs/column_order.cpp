#include "scan/jobs/column_order.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>

namespace brisko::scan {
namespace {

constexpr std::size_t kBatch = 1 << 15;                  // points handed out at a time
constexpr std::size_t kInMemory = std::size_t{1} << 20;  // points, about 50 MB

}  // namespace

ColumnOrder::ColumnOrder(std::uint32_t bandColumns, const std::string& scan,
                         const std::string& beside, Sink sink)
    : m_bandColumns(bandColumns),
      m_scan(scan),
      m_beside(beside),
      m_sink(std::move(sink)),
      m_spill(beside) {
}

void ColumnOrder::add(std::span<const CellPoint> points) {
    for (const CellPoint& point : points) {
        const std::uint32_t band = point.column / m_bandColumns;
        if (band < m_band) {
            throw ScanError(ErrorKind::Damaged, m_scan,
                            "its index is not in column order: column " +
                                std::to_string(point.column) + " comes after later ones");
        }
        if (band > m_band) {
            handOut();
            m_band = band;
        }
        m_points.push_back(point);
        if (m_points.size() == kInMemory) spill();
    }
}

/// Where each column's points begin among the sorted ones. `order` becomes which point stands where:
/// an array of numbers is smaller than a second array of points.
std::vector<std::size_t> ColumnOrder::sortByColumn(std::vector<std::uint32_t>& order) const {
    std::vector<std::size_t> begins(m_bandColumns + std::size_t{1});
    for (const CellPoint& point : m_points)
        ++begins[point.column % m_bandColumns + 1];
    std::partial_sum(begins.begin(), begins.end(), begins.begin());
    std::vector<std::size_t> next = begins;
    order.resize(m_points.size());
    for (std::uint32_t i = 0; i < m_points.size(); ++i)
        order[next[m_points[i].column % m_bandColumns]++] = i;
    return begins;
}

template <class Use>
void ColumnOrder::takeSorted(const std::vector<std::uint32_t>& order, const Use& use) {
    std::vector<CellPoint> batch;
    for (std::size_t begin = 0; begin < order.size(); begin += kBatch) {
        const std::size_t end = std::min(order.size(), begin + kBatch);
        batch.clear();
        for (std::size_t i = begin; i < end; ++i)
            batch.push_back(m_points[order[i]]);
        use(batch);
    }
    m_points.clear();
}

/// Puts the points of the band that there are on the disk, in column order.
void ColumnOrder::spill() {
    std::vector<std::uint32_t> order;
    Run run{m_spill.end(), sortByColumn(order)};
    takeSorted(order, [this](const std::vector<CellPoint>& batch) {
        if (m_spill.append(batch.data(), batch.size() * sizeof(CellPoint))) return;
        throw ScanError(
            ErrorKind::NotWritten, m_beside,
            "points of " + m_scan + std::string(" cannot wait beside it: ") + std::strerror(errno));
    });
    m_runs.push_back(std::move(run));
}

/// Column by column, of each run what it has: runs come in the order of the points.
void ColumnOrder::handOutRuns() {
    std::vector<CellPoint> batch;
    for (std::uint32_t column = 0; column < m_bandColumns; ++column) {
        for (const Run& run : m_runs) {
            const std::size_t end = run.begins[column + std::size_t{1}];
            for (std::size_t at = run.begins[column]; at < end; at += batch.size()) {
                batch.resize(std::min(kBatch, end - at));
                if (!m_spill.read(run.offset + at * sizeof(CellPoint), batch.data(),
                                  batch.size() * sizeof(CellPoint))) {
                    throw ScanError(ErrorKind::NotWritten, m_beside,
                                    "what waited beside it cannot be read back");
                }
                m_sink(batch);
            }
        }
    }
    m_runs.clear();
    m_spill.clear();
}

void ColumnOrder::handOut() {
    if (!m_runs.empty()) {
        spill();
        handOutRuns();
        return;
    }
    std::vector<std::uint32_t> order;
    sortByColumn(order);
    takeSorted(order, [this](std::vector<CellPoint>& batch) { m_sink(batch); });
}

void ColumnOrder::finish() {
    handOut();
}

}  // namespace brisko::scan
