#pragma once

#include "synthetic/room.h"

#include <vector>

namespace brisko::bench {

/// Feeds every cell of a room to a writing job, some thousand points at a time. They are made while
/// the clock stands still, so that only the writing is measured, and memory is the writer's own.
class PointFeed {
public:
    PointFeed(std::uint32_t columns, std::uint32_t rows)
        : m_room(columns, rows), m_points(kBatch) {}

    /// Calls start(), use(points, count, column, row) and stop() for every batch; column and row are
    /// the cell of its first point.
    template <class Start, class Use, class Stop>
    void run(const Start& start, const Use& use, const Stop& stop) {
        std::uint32_t column = 0, row = 0;
        while (column < m_room.columns()) {
            const std::uint32_t firstColumn = column, firstRow = row;
            std::size_t count = 0;
            while (count < kBatch && column < m_room.columns()) {
                m_points[count++] = m_room.at(column, row);
                if (++row == m_room.rows()) row = 0, ++column;
            }
            start();
            use(m_points.data(), count, firstColumn, firstRow);
            stop();
        }
    }

    std::uint64_t cells() const { return m_room.cells(); }

private:
    static constexpr std::size_t kBatch = 16384;
    Room m_room;
    std::vector<Point> m_points;
};

}  // namespace brisko::bench
