#include "layouts/block_merge.h"

#include "layouts/records.h"

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

void BlockMerge::start(std::size_t cells) {
    m_merged.assign(cells, RawRecord{});
    m_chosen.resize(cells);
}

bool BlockMerge::replaces(const Chosen& chosen, double range, const RangeInterval& interval) const {
    const double farther = range - chosen.range;
    if (farther > m_table.tolerance) return true;
    if (farther <= -m_table.tolerance) return false;
    const bool chosenInside = chosen.interval.contains(chosen.range);
    const bool candidateInside = interval.contains(range);
    if (chosenInside != candidateInside) return candidateInside;
    return chosen.interval.distanceFromCentre(chosen.range) > interval.distanceFromCentre(range);
}

void BlockMerge::add(const RawRecord* records, std::uint8_t flag) {
    const RangeInterval interval = m_table.interval(flag);
    for (std::size_t i = 0; i < m_merged.size(); ++i) {
        const RawRecord& candidate = records[i];
        if (!isMeasured(candidate)) continue;
        const double range = rangeOf(candidate);
        if (isMeasured(m_merged[i]) && !replaces(m_chosen[i], range, interval)) continue;
        m_merged[i] = candidate;
        m_chosen[i] = {range, interval};
    }
}

}  // namespace brisko
