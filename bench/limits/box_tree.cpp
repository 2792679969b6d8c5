#include "limits/box_tree.h"

#include <algorithm>
#include <numeric>

namespace brisko::limits {

BoxTree::BoxTree(const std::vector<Box>& boxes) {
    for (const Box& box : boxes)
        m_nodes.push_back({box, -1, -1, static_cast<int>(m_nodes.size())});
    std::vector<int> items(boxes.size());
    std::iota(items.begin(), items.end(), 0);
    m_root = build(std::move(items));
}

/// Halves the items along the longest axis of the box around them.
int BoxTree::build(std::vector<int> items) {
    if (items.size() == 1) return items[0];
    const auto boxOf = [this](int item) -> const Box& {
        return m_nodes[static_cast<std::size_t>(item)].box;
    };
    Box around = boxOf(items[0]);
    int longest = 0;
    for (int axis = 0; axis < 3; ++axis) {
        for (const int item : items) {
            around.min[axis] = std::min(around.min[axis], boxOf(item).min[axis]);
            around.max[axis] = std::max(around.max[axis], boxOf(item).max[axis]);
        }
        const auto length = [&](int a) { return around.max[a] - around.min[a]; };
        if (length(axis) > length(longest)) longest = axis;
    }
    std::sort(items.begin(), items.end(),
              [&](int a, int b) { return boxOf(a).max[longest] < boxOf(b).max[longest]; });
    const auto middle = items.begin() + static_cast<std::ptrdiff_t>(items.size() / 2);
    const int left = build({items.begin(), middle});
    const int right = build({middle, items.end()});
    m_nodes.push_back({around, left, right, -1});
    return static_cast<int>(m_nodes.size()) - 1;
}

}  // namespace brisko::limits
