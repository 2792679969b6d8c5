#pragma once

#include "rvx_scan_colorizer/station.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace brisko {

/// What stands nearest to the camera of one photo, in square cells of the photo. Depths are along the
/// camera's axis, in one unit.
class DepthMap {
public:
    /// With cells as small as `mostCells` allows.
    DepthMap(const ImageSize& size, std::size_t mostCells);

    /// A pixel of a point, and the point's depth.
    void add(const Pixel& pixel, float depth) {
        float& nearest = m_cells[cellOf(pixel)];
        nearest = depth < nearest ? depth : nearest;
        ++m_points;
    }

    /// To be called once, after the last point and before the first question. Cells grow until they
    /// hold several points each.
    ///   slack  how much deeper than the nearest thing a point may lie and still be seen
    void finish(float slack);

    /// Whether something clearly nearer covers a point. All cells must cover it that are nearest to its
    /// pixel: half of a cell at a silhouette shows what is after it.
    bool hides(const Pixel& pixel, float depth) const {
        // Nearly all points are seen: this is the one cell that is looked at for them.
        return depth > m_cells[cellOf(pixel)] && isCoveredAround(pixel, depth);
    }

private:
    std::size_t cellOf(const Pixel& pixel) const {
        return static_cast<std::size_t>(pixel.row >> m_shift) * m_columns +
               static_cast<std::size_t>(pixel.column >> m_shift);
    }
    bool isCoveredAround(const Pixel& pixel, float depth) const;
    void coarsen();
    bool isThin() const;
    float continuedDepth(std::size_t row, std::size_t column) const;

    int m_shift = 0;  // a cell is 2^shift pixels wide and high
    std::size_t m_columns = 0, m_rows = 0;
    std::uint64_t m_points = 0;
    std::vector<float> m_cells;  // infinity where there is no point
};

/// The depth maps of a station's photos, made from the points of its scan. Filled by one thread; once
/// finished it does not change, and handles on several threads share it.
class DepthMaps {
public:
    explicit DepthMaps(std::shared_ptr<const Station> station);

    /// Adds points: x, y, z of each in turn, metres, scanner's frame.
    void add(const double* positions, std::size_t count);
    void finish();

    /// Whether a photo shows something else at the pixel where the point appears.
    bool hides(int photo, const double* position, const Pixel& pixel) const {
        const auto place = static_cast<std::size_t>(photo);
        return m_maps[place].hides(pixel, depthOf(place, position));
    }

private:
    float depthOf(std::size_t photo, const double* position) const {
        return static_cast<float>(
            m_station->cameras[photo].projection.depthOf(position[0], position[1], position[2]));
    }

    std::shared_ptr<const Station> m_station;
    std::vector<DepthMap> m_maps;  // one for each camera
};

}  // namespace brisko
