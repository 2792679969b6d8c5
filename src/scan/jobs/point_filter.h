#pragma once

#include "layouts/alignment_matrix.h"
#include "scan/jobs/grid_part.h"
#include "scan/jobs/voxel_filter.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/convert.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace brisko::scan {

/// What a point has to be to go on, and in which frame it does.
struct PointConditions {
    std::optional<GridPart> part;  // of the grid
    std::uint32_t every = 1;       // of all points, the first and every n-th after it
    std::optional<double> minDistance, maxDistance;  // metres from the scanner
    std::optional<IntensityRange> intensities;       // both ends belong to it
    std::optional<Box> box;
    bool validOnly = false;  // not those at the scanner's own place
    AlignmentMatrix matrix;
    bool applyMatrix = false;  // deliver aligned points
};

/// Chooses points of one pass through a scan.
class PointFilter {
public:
    explicit PointFilter(const PointConditions& conditions);

    /// Keeps one point of each cube besides: see VoxelFilter. The input is the one whose points come;
    /// its passes are made again where the cubes are too many for the memory.
    void addVoxels(double size, ScanInput& input, const std::string& beside,
                   const ProgressFunction& progress);

    /// Takes the next points of the pass, in the scanner's frame, and keeps those that are chosen, in
    /// their order. Columns and rows stay those of the whole grid.
    void apply(std::vector<CellPoint>& points) {
        if (!m_isOpen) choose(points);
        if (m_voxels) m_voxels->apply(points);
    }

private:
    void choose(std::vector<CellPoint>& points);
    void thinOut(std::vector<CellPoint>& points);
    bool passes(CellPoint& point) const;

    PointConditions m_conditions;
    bool m_isOpen;  // every point goes on as it is
    bool m_asksForDistance;
    double m_leastSquared = 0, m_mostSquared = std::numeric_limits<double>::infinity();
    std::size_t m_toPass = 0;  // points, before the next of every n-th
    std::unique_ptr<VoxelFilter> m_voxels;
};

}  // namespace brisko::scan
