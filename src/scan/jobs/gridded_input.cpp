#include "scan/jobs/gridded_input.h"

#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

double squaredRange(const CellPoint& p) {
    return p.x * p.x + p.y * p.y + p.z * p.z;
}

bool isColoured(const CellPoint& p) {
    return (p.red | p.green | p.blue) != 0;
}

std::shared_ptr<const CLFileHeader> withAngles(const CLFileHeader& from, const AngleGrid& grid) {
    const auto header = std::make_shared<CLRFileHeader>();
    static_cast<CLFileHeader&>(*header) = from;
    const double azimuth = grid.azimuth - 360 * std::floor(grid.azimuth / 360);
    header->SetStartAzimuthAngle(static_cast<float>(azimuth));
    header->SetStopAzimuthAngle(static_cast<float>(azimuth - grid.columns * grid.step));
    header->SetStartZenithAngle(static_cast<float>(grid.zenith));
    header->SetStopZenithAngle(static_cast<float>(grid.zenith + grid.rows * grid.step));
    return header;
}

}  // namespace

GriddedInput::GriddedInput(std::unique_ptr<ScanInput> inner, double step, const std::string& beside,
                           const ProgressFunction& progress)
    : WrappedInput(std::move(inner)), m_beside(beside), m_progress(progress) {
    survey(step);
    m_info.hasGrid = true;
    m_info.columns = m_grid.columns;
    m_info.rows = m_grid.rows;
    m_info.bandColumns = 1;
    m_info.recordsArePoints = false;
    m_cells.resize(m_grid.rows);
    if (m_info.header) m_info.header = withAngles(*m_info.header, m_grid);
}

void GriddedInput::survey(double step) {
    AngleSurvey survey(step);
    TaskProgress progress(m_progress, "look for angles", m_inner->steps(), m_inner->stepUnit());
    std::vector<CellPoint> points;
    std::uint64_t all = 0;
    for (m_inner->read(points); !points.empty(); m_inner->read(points)) {
        survey.add(points);
        all += points.size();
        if (!m_info.isColoured) {
            m_info.isColoured = std::any_of(points.begin(), points.end(), isColoured);
        }
        progress.advanceTo(m_inner->stepsDone());
    }
    m_inner->rewind();
    m_info.storesColour = m_info.isColoured;
    m_grid = survey.grid();
    m_placed = survey.points();
    m_unplaced = all - m_placed;
}

void GriddedInput::rewind() {
    m_inner->rewind();
    m_order.reset();
    m_column.clear();
    m_ready.clear();
    std::fill(m_cells.begin(), m_cells.end(), 0);
    m_next = 0;
    m_handedOut = m_hidden = 0;
}

void GriddedInput::read(std::vector<CellPoint>& points) {
    points.clear();
    if (!m_order) sort();
    if (m_next == m_ready.size()) {
        m_ready.clear();
        m_next = 0;
        bool hasMore = true;
        while (m_ready.empty() && hasMore)
            hasMore = m_order->handOutPart();
        if (!hasMore) closeColumn();
    }
    const std::size_t count = std::min(kBatch, m_ready.size() - m_next);
    const auto begin = m_ready.begin() + static_cast<std::ptrdiff_t>(m_next);
    points.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
    m_next += count;
    m_handedOut += count;
}

void GriddedInput::sort() {
    m_order =
        std::make_unique<ColumnOrder>(m_grid.columns, m_info.path, m_beside,
                                      [this](std::span<CellPoint> points) { addToColumn(points); });
    TaskProgress progress(m_progress, "sort into cells", m_inner->steps(), m_inner->stepUnit());
    std::vector<CellPoint> points;
    for (m_inner->read(points); !points.empty(); m_inner->read(points)) {
        points.erase(std::remove_if(points.begin(), points.end(),
                                    [this](CellPoint& p) { return !m_grid.place(p); }),
                     points.end());
        m_order->add(points);
        progress.advanceTo(m_inner->stepsDone());
    }
}

void GriddedInput::addToColumn(std::span<const CellPoint> points) {
    for (const CellPoint& p : points) {
        if (!m_column.empty() && m_column.front().column != p.column) closeColumn();
        std::uint32_t& cell = m_cells[p.row];
        if (cell == 0) {
            m_column.push_back(p);
            cell = static_cast<std::uint32_t>(m_column.size());
            continue;
        }
        ++m_hidden;
        CellPoint& nearest = m_column[cell - 1];
        if (squaredRange(p) < squaredRange(nearest)) nearest = p;
    }
}

void GriddedInput::closeColumn() {
    for (const CellPoint& p : m_column)
        m_cells[p.row] = 0;
    m_ready.insert(m_ready.end(), m_column.begin(), m_column.end());
    m_column.clear();
}

std::string GriddedInput::remark() const {
    std::string text = m_inner->remark();
    const auto add = [&text](std::uint64_t count, const std::string& what) {
        if (count > 0) text += (text.empty() ? "" : "; ") + countOf(count, "point") + what;
    };
    const bool isOne = m_hidden == 1;
    add(m_hidden, std::string(isOne ? " shares" : " share") + " a cell with a nearer one and " +
                      (isOne ? "is" : "are") + " left out");
    add(m_unplaced, " at the scanner's own place left out: no direction leads there");
    return text;
}

}  // namespace brisko::scan
