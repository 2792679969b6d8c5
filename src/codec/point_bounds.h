#pragma once

#include "base/ordered_work.h"

#include <cstdint>
#include <limits>
#include <optional>

namespace brisko {

/// The box around points and their number, as GetBounds answers them.
struct PointBounds {
    // The empty values are part of the interface: the smallest positive normal number stands
    // where one would expect the lowest.
    double min[3] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
                     std::numeric_limits<double>::max()};
    double max[3] = {std::numeric_limits<double>::min(), std::numeric_limits<double>::min(),
                     std::numeric_limits<double>::min()};
    std::int64_t count = 0;

    void add(const double (&point)[3]) {
        if (m_hasNumbers) [[likely]] {
            for (int axis = 0; axis < 3; ++axis) {
                const double v = point[axis];
                min[axis] = v < min[axis] ? v : min[axis];
                max[axis] = v > max[axis] ? v : max[axis];
            }
        } else {
            add(point, point);
        }
        ++count;
    }
    /// The bounds of points that follow: the same to the bit as adding them one by one.
    void add(const PointBounds& later) {
        if (later.count == 0) return;
        add(later.min, later.max);
        count += later.count;
    }

private:
    void add(const double (&low)[3], const double (&high)[3]) {
        m_hasNumbers = true;
        for (int axis = 0; axis < 3; ++axis) {
            // The first point sets both ends. Later a number replaces a NaN, a NaN never a number.
            const double a = low[axis], b = high[axis];
            if (count == 0 || a < min[axis] || min[axis] != min[axis]) min[axis] = a;
            if (count == 0 || b > max[axis] || max[axis] != max[axis]) max[axis] = b;
            m_hasNumbers = m_hasNumbers && min[axis] == min[axis];
        }
    }

    bool m_hasNumbers = false;  // on all axes: from then on one comparison decides
};

/// Fewer cells or records are done before the threads are there.
inline constexpr std::uint64_t kWorthwhileBounds = std::uint64_t{1} << 18;

/// The bounds of a scan whose pieces are read apart; nothing where one of them is not sound.
///   Piece  has bounds, and isSound
template <class Piece>
std::optional<PointBounds> joinBounds(PiecesAhead<Piece>& pieces) {
    PointBounds bounds;
    while (const Piece* const piece = pieces.next()) {
        if (!piece->isSound) return {};
        bounds.add(piece->bounds);
    }
    return bounds;
}

}  // namespace brisko
