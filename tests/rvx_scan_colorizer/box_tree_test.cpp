#include "rvx_scan_colorizer/box_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

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

TEST(BoxTree, TheLastOfAnOddNumberOfLeavesRisesUnpaired) {
    EXPECT_TRUE(Tree(Entries{}).nodes().empty());
    const Tree one(Entries{{cube(0, 1), 5}});
    ASSERT_EQ(one.nodes().size(), 1u);
    EXPECT_EQ(one.nodes()[0].leaf, 0u);

    // The fifth rises two levels and hangs from the root, beside a branch over the four others.
    const Tree five(Entries{
        {cube(0, 1), 0}, {cube(0, 2), 1}, {cube(0, 3), 2}, {cube(0, 4), 3}, {cube(0, 5), 4}});
    ASSERT_EQ(five.nodes().size(), 9u);
    EXPECT_EQ(five.nodes()[1].leaf, Tree::kBranch);
    EXPECT_EQ(five.nodes()[1].box.axes[0].maximum, 4);
    EXPECT_EQ(five.nodes()[1].end, 8u);
    EXPECT_EQ(five.nodes()[8].leaf, 4u);
}

// Mostly small whole numbers, so that faces meet; some that are none.
TEST(BoxTree, FindsWhatALookAtEveryBoxFinds) {
    std::mt19937 random(5);
    const auto number = [&random] {
        const auto any = static_cast<double>(random() % 16);
        return random() % 40 == 0 ? std::numeric_limits<double>::quiet_NaN() : any;
    };
    for (int round = 0; round < 300; ++round) {
        Entries entries(random() % 64);
        int next = 0;
        for (auto& [box, item] : entries) {
            item = next++;
            for (auto& axis : box.axes)
                axis = {number(), number()};
        }
        const Tree tree(entries);
        const Tree::Point point = {number(), number(), number()};
        std::vector<int> expected, found = find(tree, point);
        for (const auto& [box, item] : entries) {
            bool inside = true;
            for (std::size_t i = 0; i < 3; ++i)
                inside =
                    inside && point[i] >= box.axes[i].minimum && point[i] <= box.axes[i].maximum;
            if (inside) expected.push_back(item);
        }
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, expected);

        Tree::Box part = cube(0, 0);
        for (std::size_t i = 0; i < 3; ++i)
            part.axes[i] = {point[i] - 1, point[i] + 1};
        std::vector<int> touching;
        tree.findTouching(part, GenericItemFinder(std::back_inserter(touching)));
        std::sort(touching.begin(), touching.end());
        EXPECT_TRUE(std::includes(touching.begin(), touching.end(), found.begin(), found.end()));
        for (const auto& [box, item] : entries) {
            const bool isIn = std::binary_search(touching.begin(), touching.end(), item);
            EXPECT_LE(box.contains(part), box.touches(part));
            EXPECT_EQ(isIn, box.touches(part));
        }
    }
}

}  // namespace
}  // namespace brisko::vexo
