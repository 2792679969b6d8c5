#include "rvx_scan_colorizer/blending.h"

#include <gtest/gtest.h>

namespace brisko {
namespace {

using Edges = Blending::Edges;

TEST(Blending, TheShareGrowsFromTheEdgesThatCount) {
    // 2560 x 1920, growing over 200 pixels; the upper half ends 200 below its middle row, at 1160.
    const struct {
        Edges edges;
        Pixel pixel;
        double weight;
    } cases[] = {
        {Edges::All, {50, 1000}, 0.25},
        {Edges::All, {1000, 20}, 0.1},
        {Edges::All, {2560 - 50, 1000}, 0.25},
        {Edges::All, {1000, 1920 - 100}, 0.5},
        {Edges::AllButRight, {2560 - 50, 1000}, 1},
        {Edges::AllButRight, {2560 - 50, 1920 - 100}, 0.5},
        {Edges::UpperHalf, {100, 500}, 0.5},
        {Edges::UpperHalf, {1000, 50}, 0.25},
        {Edges::UpperHalf, {2559, 500}, 1},
        {Edges::UpperHalf, {1000, 1100}, 0.3},
        {Edges::UpperHalf, {1000, 1160}, 0},
        // Below the view and near the right edge the share falls inwards ...
        {Edges::UpperHalf, {2540, 1200}, 0.9},
        {Edges::UpperHalf, {2460, 1200}, 0.5},
        {Edges::UpperHalf, {2360, 1200}, 0},
        {Edges::UpperHalf, {2361, 1200}, 0.005},
        // ... but not in the very corner.
        {Edges::UpperHalf, {2540, 1741}, 0},
        {Edges::UpperHalf, {2540, 1740}, 0.9},
        // On the seam's diagonal the two distances add up to 200.
        {Edges::UpperHalf, {2460, 1100}, 0.5},
        {Edges::UpperHalf, {2460, 1000}, 0.8},
        {Edges::UpperHalf, {2460, 1060}, 0.5},
        {Edges::UpperHalf, {2500, 1040}, 0.3},
        {Edges::UpperHalf, {2460, 1160}, 0},
        {Edges::UpperHalfPlain, {2460, 1100}, 0.3},
        {Edges::UpperHalfPlain, {2460, 1200}, 0},
    };
    for (const auto& [edges, pixel, weight] : cases) {
        EXPECT_NEAR(Blending(edges, {2560, 1920}, 200).weightAt(pixel), weight, 1e-12)
            << static_cast<int>(edges) << ": " << pixel.column << ", " << pixel.row;
    }
}

}  // namespace
}  // namespace brisko
