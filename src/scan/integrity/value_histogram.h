#pragma once

#include <brisko_scan/inspect.h>

#include <bit>
#include <cstdint>
#include <vector>

namespace brisko::scan {

/// Counts numbers by their leading bits: sign, exponent and seven digits, so that a bin is at most 0.8 % wide
/// wherever it lies, and its place costs a shift.
class ValueHistogram {
public:
    void add(float value) {
        if (m_count++ == 0) m_min = m_max = value;
        m_min = value < m_min ? value : m_min;
        m_max = value > m_max ? value : m_max;
        m_sum += static_cast<double>(value);
        ++m_bins[binOf(value)];
    }
    /// All 0 without any value.
    ValueSpread spread() const;

private:
    /// Bins rise with their values; those below 0 come first, the lowest of them in bin 0.
    static std::uint32_t binOf(float value) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        const std::uint32_t ordered = bits >> 31 ? ~bits : bits | 0x80000000U;
        return ordered >> kDropped;
    }
    /// A number in the middle of a bin.
    static double middleOf(std::uint32_t bin);
    double percentile(double share) const;

    static constexpr int kDropped = 16;  // bits

    std::uint64_t m_count = 0;
    double m_sum = 0;
    float m_min = 0, m_max = 0;
    std::vector<std::uint64_t> m_bins =
        std::vector<std::uint64_t>(std::size_t{1} << (32 - kDropped));
};

}  // namespace brisko::scan
