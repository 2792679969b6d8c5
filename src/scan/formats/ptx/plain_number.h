#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Plain numbers, digits and perhaps a point, read eight characters at a time without a branch for each: how many
/// digits a number has cannot be foreseen. What is not plain is left to number_text.h; where both read a number
/// they find the same.
namespace brisko::scan {

/// After a place where a number is taken so, as many bytes may be looked at, whatever they hold.
inline constexpr std::size_t kPlainSlack = 17;

namespace plain_number {

inline constexpr std::uint64_t kZeros = 0x3030303030303030;  // eight characters '0'
inline constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2, 1e3,  1e4,  1e5, 1e6,
                                          1e7, 1e8, 1e9, 1e10, 1e11, 1e12};

template <class Word>
Word charactersAt(const char* in) {
    Word word;
    std::memcpy(&word, in, sizeof word);
    return word;
}

/// Of characters less '0': bits in each byte that is no digit, exact up to the second of them when the first is
/// a point.
inline std::uint64_t othersIn(std::uint64_t characters) {
    constexpr std::uint64_t kBeyondNine = 0x0606060606060606, kHigh = 0xf0f0f0f0f0f0f0f0;
    return ((characters + kBeyondNine) | characters) & kHigh;
}
inline unsigned firstOf(std::uint64_t others) {
    return static_cast<unsigned>(std::countr_zero(others)) / 8;
}

/// The number that the first `count` digits make, 1 to 8 of them.
inline std::uint64_t valueOf(std::uint64_t digits, unsigned count) {
    digits <<= 64 - 8 * count;
    digits = (digits * 2561) >> 8 & 0x00ff00ff00ff00ff;      // pairs: 10 and 1 times
    digits = (digits * 6553601) >> 16 & 0x0000ffff0000ffff;  // fours: 100 and 1 times
    return (digits * 42949672960001) >> 32;                  // all: 10000 and 1 times
}

}  // namespace plain_number

/// Takes a number with at most 14 characters besides its sign. Returns where it ends; null where none begins here,
/// or another one.
inline const char* takePlain(const char* in, double& number) {
    using namespace plain_number;
    const bool isNegative = *in == '-';
    in += isNegative;
    const std::uint64_t head = charactersAt<std::uint64_t>(in) ^ kZeros;
    const std::uint64_t others = othersIn(head);
    const unsigned point = firstOf(others | std::uint64_t{1} << 63);
    if (others == 0 || point == 0) return nullptr;
    const auto give = [&](std::uint64_t digits, unsigned places, unsigned length) {
        const double value = static_cast<double>(digits) / kPowersOfTen[places];
        // A branch would be taken as often as not near the planes of the axes.
        const auto sign = static_cast<std::uint64_t>(isNegative) << 63;
        number = std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) ^ sign);
        return in + length;
    };
    if (in[point] != '.') return give(valueOf(head, point), 0, point);
    const std::uint64_t whole = (std::uint64_t{1} << (8 * point)) - 1;
    const std::uint64_t digits = (head & whole) | (head >> 8 & ~whole);  // without the point
    const std::uint64_t after = others & (~std::uint64_t{0xff} << (8 * point));
    if (after != 0) {
        const unsigned length = firstOf(after);
        const unsigned places = length - point - 1;
        return places > 0 ? give(valueOf(digits, length - 1), places, length) : nullptr;
    }
    constexpr unsigned kMostMore = 6;
    constexpr std::uint64_t kTens[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    const std::uint64_t tail = charactersAt<std::uint64_t>(in + 8) ^ kZeros;
    const std::uint64_t tailOthers = othersIn(tail);
    const unsigned more = tailOthers != 0 ? firstOf(tailOthers) : 8;
    if (more > kMostMore || more + 7 == point) return nullptr;
    std::uint64_t value = valueOf(digits, 7) * kTens[more];
    if (more > 0) value += valueOf(tail, more);
    return give(value, 7 + more - point, 8 + more);
}

/// The same for a colour, a whole number from 0 to 255.
inline const char* takePlainColour(const char* in, std::uint8_t& colour) {
    using namespace plain_number;
    constexpr std::uint64_t kAfterThree = std::uint64_t{0xf0} << 24;
    std::uint64_t digits = charactersAt<std::uint32_t>(in) ^ (kZeros & 0xffffffff);
    const unsigned count = firstOf(othersIn(digits) | kAfterThree);
    if (count == 0 || (count == 3 && (othersIn(digits) & kAfterThree) == 0)) return nullptr;
    digits = digits << (24 - 8 * count) & 0xffffff;
    const std::uint64_t value =
        100 * (digits & 0xff) + 10 * (digits >> 8 & 0xff) + (digits >> 16 & 0xff);
    if (value > 255) return nullptr;
    colour = static_cast<std::uint8_t>(value);
    return in + count;
}

}  // namespace brisko::scan
