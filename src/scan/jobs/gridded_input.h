#pragma once

#include "scan/formats/wrapped_input.h"
#include "scan/jobs/angle_grid.h"
#include "scan/jobs/column_order.h"

#include <brisko_scan/progress.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Gives a cloud a grid: each point the cell of its direction from the scanner's own place, the origin
/// of the frame; of several in a cell the nearest one stays. Points come column by column: they are
/// sorted first, on the disk where they are many.
class GriddedInput : public WrappedInput {
public:
    /// inner: an input without a grid; a pass over it is made. step: degrees, for columns and rows.
    /// beside: a path in the folder where points wait. progress: must outlive the object.
    /// Throws ScanError(Damaged).
    GriddedInput(std::unique_ptr<ScanInput> inner, double step, const std::string& beside,
                 const ProgressFunction& progress);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_handedOut + m_hidden; }
    std::uint64_t steps() const override { return m_placed; }
    const char* stepUnit() const override { return "points"; }
    std::string remark() const override;

private:
    void survey(double step);
    void sort();
    void addToColumn(std::span<const CellPoint> points);
    void closeColumn();

    std::string m_beside;
    const ProgressFunction& m_progress;
    AngleGrid m_grid;
    std::uint64_t m_placed = 0;    // points with a direction
    std::uint64_t m_unplaced = 0;  // without

    std::unique_ptr<ColumnOrder> m_order;  // holds the points from the first read() of a pass on
    std::vector<CellPoint> m_column;       // the nearest points of the column at hand
    std::vector<std::uint32_t> m_cells;    // for each row: 1 + which of them; 0: none
    std::vector<CellPoint> m_ready;        // of whole columns
    std::size_t m_next = 0;                // of them
    std::uint64_t m_handedOut = 0;
    std::uint64_t m_hidden = 0;  // left out for a nearer one
};

}  // namespace brisko::scan
