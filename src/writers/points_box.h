#pragma once

#include <brisko_codec/alignment.h>

namespace brisko {

/// The box around points that come one after another. A NaN replaces both ends of its axis, and goes again
/// when the next number comes: deliberate, as files on disk were made that way.
class PointsBox {
public:
    void add(const double (&point)[3]) {
        for (int axis = 0; axis < 3; ++axis) {
            const double v = point[axis];
            m_box.max[axis] = m_box.max[axis] >= v ? m_box.max[axis] : v;
            m_box.min[axis] = v >= m_box.min[axis] ? m_box.min[axis] : v;
        }
    }
    /// The points of another box, all finite, come after these.
    void add(const PointsBox& later) {
        for (int axis = 0; axis < 3; ++axis) {
            const double max = later.m_box.max[axis], min = later.m_box.min[axis];
            m_box.max[axis] = m_box.max[axis] >= max ? m_box.max[axis] : max;
            m_box.min[axis] = min >= m_box.min[axis] ? m_box.min[axis] : min;
        }
    }
    const AlignmentBox& box() const { return m_box; }

private:
    AlignmentBox m_box;
};

}  // namespace brisko
