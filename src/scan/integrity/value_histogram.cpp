#include "scan/integrity/value_histogram.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {

double ValueHistogram::middleOf(std::uint32_t bin) {
    const std::uint32_t ordered = bin << kDropped | 1U << (kDropped - 1);
    const std::uint32_t bits = ordered >> 31 ? ordered & 0x7fffffffU : ~ordered;
    return static_cast<double>(std::bit_cast<float>(bits));
}

double ValueHistogram::percentile(double share) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(m_count)));
    std::uint64_t below = 0;
    for (std::uint32_t bin = 0; bin < m_bins.size(); ++bin) {
        below += m_bins[bin];
        if (below < wanted || below == 0) continue;
        return std::clamp(middleOf(bin), static_cast<double>(m_min), static_cast<double>(m_max));
    }
    return static_cast<double>(m_max);
}

ValueSpread ValueHistogram::spread() const {
    if (m_count == 0) return {};
    ValueSpread spread;
    spread.min = static_cast<double>(m_min);
    spread.max = static_cast<double>(m_max);
    spread.mean = m_sum / static_cast<double>(m_count);
    spread.percentile5 = percentile(0.05);
    spread.median = percentile(0.5);
    spread.percentile95 = percentile(0.95);
    return spread;
}

}  // namespace brisko::scan
