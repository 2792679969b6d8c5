#pragma once

#include "scan/pictures/gathered_columns.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace brisko::scan {

/// What the neighbours of a cell say of the surface there.
struct SurfaceCell {
    float range = 0;                // metres; 0: the cell is empty
    std::array<float, 3> place{};   // the mean of its points
    std::array<float, 3> normal{};  // towards the scanner; 0 0 0 where it is not known
    float shade = 0;                // 0 dark to 1 bright
};

/// The form of surfaces from the neighbours in the grid. Columns are set as they come, shaded when the
/// ones around them are there, and released after that.
class Surface {
public:
    /// How many columns on either side say how a column is shaded.
    static constexpr std::uint32_t kReach = 5;

    Surface(std::uint32_t width, std::uint32_t height);

    /// cells: positions; may be empty.
    void setColumn(std::uint32_t column, const std::vector<GatheredCell>& cells);
    /// Replaces `cells` by those of columns first to end, column by column. Other threads may shade at
    /// the same time, but not set or release.
    void shade(std::uint32_t first, std::uint32_t end, std::vector<SurfaceCell>& cells) const;
    void releaseBefore(std::uint32_t column);

private:
    struct Point {
        float x = 0, y = 0, z = 0;
        float range = 0;  // 0: none
    };
    struct Normal {
        float x = 0, y = 0, z = 0;
    };

    const Point* columnAt(std::int64_t column) const;
    void findNormals(std::int64_t column, Normal* normals) const;
    template <class PointAt>
    static bool findSlope(const Point& point, const PointAt& at, Normal& slope);
    Normal smoothed(std::int64_t column, std::uint32_t row, const Normal* normals) const;
    float grooveAt(std::int64_t column, std::uint32_t row, const Point& point) const;

    std::uint32_t m_width, m_height;
    std::uint32_t m_released = 0;
    std::vector<std::vector<Point>> m_columns;
    std::vector<Point> m_emptyColumn;
};

}  // namespace brisko::scan
