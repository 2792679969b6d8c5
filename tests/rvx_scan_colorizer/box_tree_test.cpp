#include "rvx_scan_colorizer/box_tree.h"

#include <gtest/gtest.h>

#include <limits>

namespace brisko::vexo {
namespace {

using Tree = BoxTreeTree<double, 3, int>;
using Entries = std::vector<Tree::Entry>;

Tree::Box cube(double minimum, double maximum) {
    return {{{{minimum, maximum}, {minimum, maximum}, {minimum, maximum}}}};
}

std::vector<int> find(const Tree& tree, const Tree::Point& point) {
    std::vector<int> items;
    tree.find(point, GenericItemFinder(std::back_inserter(items)));
    return items;
}

TEST(BoxTree, EntriesComeFromLeftToRightAlongTheLongestAxis) {
    // All hold the origin. On x they end at 3, 1, 2, and x is the longest axis.
    Entries entries = {{cube(-1, 1), 0}, {cube(-1, 1), 1}, {cube(-1, 1), 2}};
    entries[0].first.axes[0].maximum = 3;
    entries[2].first.axes[0].maximum = 2;
    EXPECT_EQ(find(Tree(entries), {0, 0, 0}), (std::vector<int>{1, 2, 0}));
}

TEST(BoxTree, NumbersThatAreNoneDoNoHarm) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    Entries entries;
    for (int i = 0; i < 40; ++i)
        entries.emplace_back(i % 3 == 0 ? cube(kNaN, kNaN) : cube(0, i), i);
    const Tree tree(entries);
    EXPECT_EQ(find(tree, {39, 39, 39}), std::vector<int>{});
    EXPECT_EQ(find(tree, {37.5, 37.5, 37.5}), (std::vector<int>{38}));
    EXPECT_TRUE(find(tree, {kNaN, 1, 1}).empty());
}

}  // namespace
}  // namespace brisko::vexo
