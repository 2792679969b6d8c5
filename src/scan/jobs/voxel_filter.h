#pragma once

#include "scan/formats/scan_input.h"
#include "scan/jobs/voxel_set.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/progress.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

struct PointConditions;

/// Keeps one point of each cube of space, the first that comes. The corners of cubes lie at multiples
/// of their size in the frame of the points. Points that are no finite numbers are in no cube and stay.
///
/// While the cubes fit into the memory (128 MB: about 100 million of a usual scan), a point is decided
/// as it comes. Where they do not, the points are read again, several times, each time with a part of
/// the cubes, and a bit for each point waits on the disk; what stays is the same.
class VoxelFilter {
public:
    static constexpr std::size_t kSlots = std::size_t{1} << 23;

    /// size: metres, above 0. input: in the pass whose points come; conditions: what was asked of them
    /// before. beside: a path in the folder where bits wait. mostSlots: of the set of cubes.
    VoxelFilter(double size, ScanInput& input, const PointConditions& conditions,
                const std::string& beside, const ProgressFunction& progress,
                std::size_t mostSlots = kSlots);
    ~VoxelFilter();

    /// Takes the next points of the pass that fulfil the conditions, batch by batch as the input
    /// delivers them.
    /// Throws ScanError(Request) where the scan spans more than 4 million cubes to a side.
    void apply(std::vector<CellPoint>& points);

private:
    class Marks;

    VoxelSet::Voxel voxelOf(const CellPoint& point);
    bool decide(const std::vector<CellPoint>& points);
    void markAll(std::size_t pointsAtHand);
    void markPart();
    void comeBackAfter(std::uint64_t expected);

    double m_size;
    ScanInput& m_input;
    std::unique_ptr<const PointConditions> m_conditions;
    std::string m_beside;
    ProgressFunction m_progress;

    std::optional<std::array<double, 3>> m_base;  // the cube of coordinate 0, counted in cubes
    VoxelSet m_set;
    std::uint64_t m_firstBlock = 0, m_lastBlock;  // that are decided in this pass
    std::vector<char> m_isFirst;                  // of the batch at hand

    std::uint64_t m_batches = 0;     // that came, the one at hand among them
    std::uint64_t m_points = 0;      // of the batches before it
    std::unique_ptr<Marks> m_marks;  // where the cubes do not fit into memory
};

}  // namespace brisko::scan
