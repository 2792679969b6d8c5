#pragma once

#include <cstdint>

/// Random numbers that are a function of a place, not of a history: any cell can be computed at any
/// time, on any thread, and comes out the same.
namespace brisko::simulator {

/// Scatters the bits of a number over all 64 (the finaliser of SplitMix64).
inline std::uint64_t scatter(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

/// 0 up to (not including) 1, from the upper 53 bits.
inline double toUnitInterval(std::uint64_t bits) {
    return static_cast<double>(bits >> 11) * 0x1p-53;
}

/// The random numbers of one place: draws differ from one another and from those of other places.
class Noise {
public:
    explicit Noise(std::uint64_t place) : m_state(place) {}

    std::uint64_t bits() {
        m_state += 0x9E3779B97F4A7C15u;
        return scatter(m_state);
    }

    double uniform() { return toUnitInterval(bits()); }

    /// Mean 0, deviation 1: the sum of eight uniform numbers. Unlike a logarithm and a cosine it is
    /// the same to the bit on every machine; it never leaves five deviations.
    double gaussian() {
        constexpr double kMean = 8 * 32767.5;
        constexpr double kDeviation = 53509.919;  // sqrt(8 (65536^2 - 1) / 12)
        const std::uint64_t sum = sumOfQuarters(bits()) + sumOfQuarters(bits());
        return (static_cast<double>(sum) - kMean) / kDeviation;
    }

private:
    static std::uint64_t sumOfQuarters(std::uint64_t bits) {
        return (bits & 0xFFFF) + ((bits >> 16) & 0xFFFF) + ((bits >> 32) & 0xFFFF) + (bits >> 48);
    }

    std::uint64_t m_state;
};

}  // namespace brisko::simulator
