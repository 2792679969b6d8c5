// The box tree finds what a look at every box finds.

#include "input.h"

#include "rvx_scan_colorizer/box_tree.h"

namespace brisko::fuzz {

namespace {

using Tree = vexo::BoxTreeTree<double, 3, int>;

/// Mostly small whole numbers, so that faces meet; sometimes any double.
double number(Input& in) {
    const std::uint8_t kind = in.u8();
    return kind < 240 ? kind % 16 - 8.0 : in.f64();
}

void run(ByteSpan input) {
    Input in(input);
    std::vector<Tree::Entry> entries(in.below(64));
    int item = 0;
    for (auto& [box, number_] : entries) {
        for (auto& axis : box.axes) {
            axis.minimum = number(in);
            axis.maximum = number(in);
        }
        number_ = item++;
    }
    const Tree tree(entries);
    int questions = 0;
    do {
        const Tree::Point point = {number(in), number(in), number(in)};
        std::vector<int> expected, found;
        for (const auto& [box, i] : entries) {
            bool inside = true;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                inside = inside && point[axis] >= box.axes[axis].minimum &&
                         point[axis] <= box.axes[axis].maximum;
            }
            if (inside) expected.push_back(i);
        }
        tree.find(point, vexo::GenericItemFinder(std::back_inserter(found)));
        std::sort(found.begin(), found.end());
        expect(found == expected);
    } while (!in.empty() && ++questions < 20);
}

std::vector<Bytes> seeds() {
    Bytes bytes(300);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 37 % 239);
    bytes[0] = 40;
    return {bytes, {1, 0, 15, 0, 15, 0, 15, 4, 4, 4}};
}

const Registered registered({"box_tree", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
