#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace brisko::scan {

/// digits / 10^places, of at most 15 digits. Both are exact as doubles, so a single division gives the
/// double next to the decimal; and the decimal is the shortest text of that double. So this is what the
/// general conversions find too, for a fraction of their time.
struct Decimal {
    static constexpr int kMostPlaces = 12;

    std::uint64_t digits = 0;
    int places = 0;
};

inline constexpr double kPowersOfTen[Decimal::kMostPlaces + 1] = {
    1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12};

inline double valueOf(const Decimal& decimal) {
    return static_cast<double>(decimal.digits) / kPowersOfTen[decimal.places];
}

/// Reads digits and, behind a point, more digits. Returns their end; null when there are none, or
/// too many: better soon than after a look at all of them.
inline const char* readDecimal(const char* begin, const char* end, Decimal& decimal) {
    constexpr std::ptrdiff_t kLongest = Decimal::kMostPlaces + 2;  // with "0."
    const char* const limit = begin + std::min(end - begin, kLongest);
    const char* in = begin;
    std::uint64_t digits = 0;
    const auto readDigits = [&] {
        const char* const first = in;
        for (; in != limit; ++in) {
            const auto digit = static_cast<unsigned>(*in - '0');
            if (digit > 9) break;
            digits = 10 * digits + digit;
        }
        return static_cast<int>(in - first);
    };
    if (readDigits() == 0) return nullptr;
    int places = 0;
    if (in != limit && *in == '.') {
        ++in;
        places = readDigits();
        if (places == 0) return nullptr;
    }
    const bool mayGoOn = in == limit && limit != end;
    if (mayGoOn) return nullptr;
    decimal = {digits, places};
    return in;
}

/// Writes the same without zeros at the end of the places; returns its end.
inline char* putDecimal(char* out, Decimal decimal) {
    constexpr std::ptrdiff_t kMostCharacters = 20;
    while (decimal.places > 0 && decimal.digits % 10 == 0) {
        decimal.digits /= 10;
        --decimal.places;
    }
    const auto one = static_cast<std::uint64_t>(kPowersOfTen[decimal.places]);
    out = std::to_chars(out, out + kMostCharacters, decimal.digits / one).ptr;
    if (decimal.places == 0) return out;
    *out++ = '.';
    std::uint64_t rest = decimal.digits % one;
    for (int place = decimal.places; place > 0; rest /= 10)
        out[--place] = static_cast<char>('0' + rest % 10);
    return out + decimal.places;
}

}  // namespace brisko::scan
