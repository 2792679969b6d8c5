#pragma once

#include <vector>

namespace brisko::limits {

/// Boxes around the views of photos on a sphere about the scanner, in a tree.
class BoxTree {
public:
    struct Box {
        double min[3], max[3];
    };
    static constexpr int kMost = 64;  // boxes that a point can be in

    explicit BoxTree(const std::vector<Box>& boxes);

    /// The boxes that hold a point, in rising order. Returns how many they are.
    int find(const double* point, int* found) const {
        int stack[kMost], depth = 0, count = 0;
        stack[depth++] = m_root;
        while (depth) {
            const Node& node = m_nodes[static_cast<std::size_t>(stack[--depth])];
            const Box& box = node.box;
            if (point[0] < box.min[0] || point[0] > box.max[0] || point[1] < box.min[1] ||
                point[1] > box.max[1] || point[2] < box.min[2] || point[2] > box.max[2]) {
                continue;
            }
            if (node.left >= 0) {
                stack[depth++] = node.right;
                stack[depth++] = node.left;
                continue;
            }
            int place = count++;
            for (; place && found[place - 1] > node.item; --place)
                found[place] = found[place - 1];
            found[place] = node.item;
        }
        return count;
    }

private:
    struct Node {
        Box box;
        int left, right;  // -1 in a leaf
        int item;
    };
    int build(std::vector<int> items);

    std::vector<Node> m_nodes;
    int m_root;
};

}  // namespace brisko::limits
