#include "layouts/block_merge.h"

#include "layouts/clr_record.h"

namespace brisko {

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
