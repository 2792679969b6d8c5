#pragma once

#include "scan/view/view_points.h"

#include <array>
#include <vector>

namespace brisko::scan {

/// An even part of the points of a scan without a grid, in the order of their places: neighbours in
/// space are neighbours in the page, so that differences are small, and every n-th point is an even
/// part again. Packed as BytePlanes: x, y and z as zigzag differences (4 each), intensity (2), colour.
class ViewCloud : public ViewPoints {
public:
    /// expected: points of the scan; 0 where that is not known. At most `most` are kept.
    ViewCloud(std::uint64_t expected, std::uint64_t most);

    void add(const CellPoint& point) override;
    void write(PackedText& text) override;
    std::string members() const override;
    std::uint64_t kept() const override { return m_points.size(); }

private:
    struct Point {
        std::array<std::int32_t, 3> at{};  // kViewLength, from the corner
        ViewValues values;
        std::uint64_t order = 0;
    };
    void halve();
    void sort();

    std::uint64_t m_most;
    double m_share;    // of the points that is kept
    double m_due = 0;  // a point is kept when this reaches 1
    bool m_hasCorner = false;
    std::array<double, 3> m_corner{};  // metres
    std::vector<Point> m_points;
    bool m_hasColour = false;
};

}  // namespace brisko::scan
