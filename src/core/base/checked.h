#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

/// Arithmetic on numbers that come from files.
namespace brisko {

/// a * b, or nothing when the product does not fit into 64 bits.
inline std::optional<std::uint64_t> checkedMultiply(std::uint64_t a, std::uint64_t b) {
    std::uint64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) return std::nullopt;
    return product;
}

/// a + b, or nothing when the sum does not fit into 64 bits.
inline std::optional<std::uint64_t> checkedAdd(std::uint64_t a, std::uint64_t b) {
    std::uint64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) return std::nullopt;
    return sum;
}

/// a / b rounded up.
inline std::uint64_t divideRoundingUp(std::uint64_t a, std::uint64_t b) {
    return a / b + (a % b != 0);
}

/// The fraction cut off; values out of range go to the nearest end, NaN becomes 0.
inline std::int32_t truncateToI32(double value) {
    // The common case first: both comparisons are false for NaN.
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<std::int32_t>(value);
    if (std::isnan(value)) return 0;
    return value < 0 ? std::numeric_limits<std::int32_t>::min()
                     : std::numeric_limits<std::int32_t>::max();
}

}  // namespace brisko
