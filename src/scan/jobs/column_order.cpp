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
constexpr std::uint32_t kStrips = 4096;  // of a band, whose places on the disk are kept

}  // namespace

ColumnOrder::ColumnOrder(std::uint32_t bandColumns, const std::string& scan,
                         const std::string& beside, Sink sink)
    : m_bandColumns(bandColumns),
      m_stripColumns((bandColumns + kStrips - 1) / kStrips),
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
    const std::vector<std::size_t> columns = sortByColumn(order);
    Run run{m_spill.end(), {}};
    for (std::size_t column = 0; column < m_bandColumns; column += m_stripColumns)
        run.begins.push_back(static_cast<std::uint32_t>(columns[column]));
    run.begins.push_back(static_cast<std::uint32_t>(columns.back()));
    takeSorted(order, [this](const std::vector<CellPoint>& batch) {
        if (m_spill.append(batch.data(), batch.size() * sizeof(CellPoint))) return;
        throw ScanError(
            ErrorKind::NotWritten, m_beside,
            "points of " + m_scan + std::string(" cannot wait beside it: ") + std::strerror(errno));
    });
    m_runs.push_back(std::move(run));
}

/// As many strips as fit into memory, at least one. Runs come in the order of the points, so those of
/// a column stay in it.
void ColumnOrder::handOutStrips() {
    const std::size_t strips = m_runs.front().begins.size() - 1;
    const std::size_t first = m_strip;
    for (std::size_t points = 0; m_strip < strips; ++m_strip) {
        for (const Run& run : m_runs)
            points += run.begins[m_strip + 1] - run.begins[m_strip];
        if (points > kInMemory && m_strip > first) break;
    }
    for (const Run& run : m_runs)
        readBack(run, run.begins[first], run.begins[m_strip]);
    handOutSorted();
    if (m_strip < strips) return;
    m_runs.clear();
    m_spill.clear();
    m_strip = 0;
}

void ColumnOrder::readBack(const Run& run, std::size_t first, std::size_t end) {
    const std::size_t before = m_points.size();
    m_points.resize(before + (end - first));
    if (m_spill.read(run.offset + first * sizeof(CellPoint), m_points.data() + before,
                     (end - first) * sizeof(CellPoint))) {
        return;
    }
    throw ScanError(ErrorKind::NotWritten, m_beside, "what waited beside it cannot be read back");
}

bool ColumnOrder::handOutPart() {
    if (!m_runs.empty()) {
        if (!m_points.empty()) spill();
        handOutStrips();
        return true;
    }
    if (m_points.empty()) return false;
    handOutSorted();
    return true;
}

void ColumnOrder::handOut() {
    while (handOutPart()) {
    }
}

void ColumnOrder::handOutSorted() {
    std::vector<std::uint32_t> order;
    sortByColumn(order);
    takeSorted(order, [this](std::vector<CellPoint>& batch) { m_sink(batch); });
}

void ColumnOrder::finish() {
    handOut();
}

}  // namespace brisko::scan
