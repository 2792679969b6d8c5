#include "layouts/range_table.h"

#include <iterator>

namespace brisko {

namespace {

constexpr double kTolerance = 0.01;

constexpr RangeInterval kDefaultIntervals[] = {{0, 200}};
constexpr RangeInterval kRvx1000Intervals[] = {{0, 200}, {0, 40}, {25, 60}, {9, 25}, {0, 9}};
constexpr RangeInterval kRvx1500Intervals[] = {{0, 200}, {0, 50}, {30, 50}, {13, 30}, {5, 13}};

constexpr RangeTable kDefault{kDefaultIntervals, std::size(kDefaultIntervals), kTolerance};
constexpr RangeTable kRvx1000{kRvx1000Intervals, std::size(kRvx1000Intervals), kTolerance};
constexpr RangeTable kRvx1500{kRvx1500Intervals, std::size(kRvx1500Intervals), kTolerance};

}  // namespace

const RangeTable& rangeTableFor(const std::string& modelName) {
    if (modelName == "RVX1000") return kRvx1000;
    if (modelName == "RVX1500") return kRvx1500;
    return kDefault;
}

}  // namespace brisko
