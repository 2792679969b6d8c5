#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/cell_reader.h>
#include <brisko_scan/convert.h>

#include <optional>
#include <vector>

namespace brisko::scan {

/// Which points go on, and in which frame.
struct PointFilter {
    std::optional<CellWindow> window;   // of the grid
    std::optional<double> maxDistance;  // metres from the scanner
    std::optional<Box> box;
    bool validOnly = false;  // not those at the scanner's own place
    double matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    bool applyMatrix = false;  // deliver aligned points

    /// Takes points in the scanner's frame and keeps those that pass, in their order. Columns and
    /// rows stay those of the whole grid.
    void apply(std::vector<CellPoint>& points) const;

private:
    bool passes(CellPoint& point) const;
};

}  // namespace brisko::scan
