#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace brisko::vexo {

/// A box along the axes. The faces belong to it.
template <class Coordinate, std::size_t Dimensions>
struct BoxTreeBox {
    struct Range {
        Coordinate minimum, maximum;
    };
    std::array<Range, Dimensions> axes;

    bool contains(const std::array<Coordinate, Dimensions>& point) const {
        // A NaN lies in no box. All comparisons are made: six cost less than a jump that is
        // predicted badly.
        bool inside = true;
        for (std::size_t i = 0; i < Dimensions; ++i) {
            inside &= axes[i].minimum <= point[i];
            inside &= point[i] <= axes[i].maximum;
        }
        return inside;
    }
    bool contains(const BoxTreeBox& other) const {
        bool inside = true;
        for (std::size_t i = 0; i < Dimensions; ++i) {
            inside &= axes[i].minimum <= other.axes[i].minimum;
            inside &= other.axes[i].maximum <= axes[i].maximum;
        }
        return inside;
    }
    bool touches(const BoxTreeBox& other) const {
        bool touching = true;
        for (std::size_t i = 0; i < Dimensions; ++i) {
            touching &= axes[i].minimum <= other.axes[i].maximum;
            touching &= other.axes[i].minimum <= axes[i].maximum;
        }
        return touching;
    }
    void extend(const BoxTreeBox& other) {
        for (std::size_t i = 0; i < Dimensions; ++i) {
            axes[i].minimum = std::min(axes[i].minimum, other.axes[i].minimum);
            axes[i].maximum = std::max(axes[i].maximum, other.axes[i].maximum);
        }
    }
};

/// Writes the items that a query finds through an output iterator.
template <class OutputIterator>
class GenericItemFinder {
public:
    explicit GenericItemFinder(OutputIterator output) : m_output(output) {}

    template <class Entry>
    void found(const Entry& entry) {
        *m_output++ = entry.second;
    }

private:
    OutputIterator m_output;
};

/// Finds all boxes that hold a point. A binary tree over the boxes, laid out flat: a branch is
/// followed by its first child and all below that, then by its second child. A query walks the array
/// forwards and jumps over what it need not see; it allocates nothing.
template <class Coordinate, std::size_t Dimensions, class Item>
class BoxTreeTree {
public:
    using Box = BoxTreeBox<Coordinate, Dimensions>;
    using Point = std::array<Coordinate, Dimensions>;
    using Entry = std::pair<Box, Item>;

    struct Node {
        Node(const Box& space, std::size_t next, std::size_t number)
            : box(space), end(next), leaf(number) {}

        Box box;
        std::size_t end;   // the node after this one and all below it
        std::size_t leaf;  // number of the entry, or kBranch
    };
    static constexpr std::size_t kBranch = static_cast<std::size_t>(-1);
    struct Leaf : Node {
        Leaf(const Entry& entry, std::size_t place, std::size_t number)
            : Node(entry.first, place + 1, number) {}
    };
    struct Branch : Node {
        Branch() : Node(Box{}, 0, kBranch) {}  // box and end follow from what is below it
    };

    /// Empty: queries find nothing.
    BoxTreeTree() = default;

    explicit BoxTreeTree(std::vector<Entry> entries) : m_entries(std::move(entries)) {
        // A box with a NaN in it holds no point, and would confuse the order of the others.
        std::erase_if(m_entries, [](const Entry& entry) { return hasNaN(entry.first); });
        order(m_entries);
        if (m_entries.empty()) return;
        m_nodes.reserve(2 * m_entries.size() - 1);
        std::size_t height = 0;
        while ((std::size_t{1} << height) < m_entries.size())
            ++height;
        layOut(0, height);
    }

    /// Calls finder.found(entry) for every entry whose box holds the point, from the left of the tree
    /// to its right. The finder is no interface with virtual operations: queries are made for every
    /// point of a scan.
    template <class ItemFinder>
    void find(const Point& point, ItemFinder finder) const {
        walk([&point](const Box& box) { return box.contains(point); }, finder);
    }

    /// The same for every entry whose box touches another one. No point of that one lies in any other entry.
    template <class ItemFinder>
    void findTouching(const Box& other, ItemFinder finder) const {
        walk([&other](const Box& box) { return box.touches(other); }, finder);
    }

    const std::vector<Node>& nodes() const { return m_nodes; }
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    template <class IsWanted, class ItemFinder>
    void walk(const IsWanted& isWanted, ItemFinder& finder) const {
        const Node* const nodes = m_nodes.data();
        const std::size_t count = m_nodes.size();
        for (std::size_t i = 0; i < count;) {
            const Node& node = nodes[i];
            if (!isWanted(node.box)) {
                i = node.end;
                continue;
            }
            if (node.leaf != kBranch) finder.found(m_entries[node.leaf]);
            ++i;
        }
    }

    static bool hasNaN(const Box& box) {
        return std::any_of(box.axes.begin(), box.axes.end(), [](const auto& axis) {
            return axis.minimum != axis.minimum || axis.maximum != axis.maximum;
        });
    }

    static Box unionOf(std::span<const Entry> entries) {
        Box box = entries.front().first;
        for (const Entry& entry : entries)
            box.extend(entry.first);
        return box;
    }

    /// The axis on which the box is longest; the first of them where several are.
    static std::size_t splitAxis(const Box& box) {
        std::size_t longest = 0;
        for (std::size_t i = 1; i < Dimensions; ++i) {
            if (box.axes[i].maximum - box.axes[i].minimum >
                box.axes[longest].maximum - box.axes[longest].minimum) {
                longest = i;
            }
        }
        return longest;
    }

    /// Sorts along the longest axis, then each half along its own.
    static void order(std::span<Entry> entries) {
        if (entries.size() < 2) return;
        const std::size_t axis = splitAxis(unionOf(entries));
        std::stable_sort(entries.begin(), entries.end(), [axis](const Entry& a, const Entry& b) {
            const auto& left = a.first.axes[axis];
            const auto& right = b.first.axes[axis];
            return std::pair(left.maximum, left.minimum) < std::pair(right.maximum, right.minimum);
        });
        const std::size_t half = entries.size() / 2;
        order(entries.first(half));
        order(entries.subspan(half));
    }

    /// Neighbours are paired level by level from the leaves up; a last one without a pair rises as it is. So
    /// the node at a height above entry `first` covers the next 2^height entries, as far as there
    /// are any, and is no node of its own where its second half is empty.
    Box layOut(std::size_t first, std::size_t height) {
        if (height == 0) {
            m_nodes.push_back(Leaf(m_entries[first], m_nodes.size(), first));
            return m_nodes.back().box;
        }
        const std::size_t second = first + (std::size_t{1} << (height - 1));
        if (second >= m_entries.size()) return layOut(first, height - 1);
        const std::size_t own = m_nodes.size();
        m_nodes.push_back(Branch());
        Box box = layOut(first, height - 1);
        box.extend(layOut(second, height - 1));
        m_nodes[own].box = box;
        m_nodes[own].end = m_nodes.size();
        return box;
    }

    std::vector<Entry> m_entries;
    std::vector<Node> m_nodes;
};

}  // namespace brisko::vexo
