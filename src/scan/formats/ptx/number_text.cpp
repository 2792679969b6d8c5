#include "scan/formats/ptx/number_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace brisko::scan {
namespace {

/// digits / 10^places, of at most 15 digits. Both are exact as doubles, so a single division gives the
/// double next to the decimal; and the decimal is the shortest text of that double. So this is what the
/// general conversions find too, for a fraction of their time.
struct Decimal {
    static constexpr int kMostPlaces = 12;

    std::uint64_t digits = 0;
    int places = 0;
};

constexpr double kPowersOfTen[Decimal::kMostPlaces + 1] = {1e0, 1e1, 1e2, 1e3,  1e4,  1e5, 1e6,
                                                           1e7, 1e8, 1e9, 1e10, 1e11, 1e12};

double valueOf(const Decimal& decimal) {
    return static_cast<double>(decimal.digits) / kPowersOfTen[decimal.places];
}

/// Reads digits and, after a point, more digits. Returns their end; null when there are none, or
/// too many: better soon than after a look at all of them.
const char* readDecimal(const char* begin, const char* end, Decimal& decimal) {
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

/// The eight digits of a number below 10^8, the first in the lowest byte: all are split at once, in halves, then
/// in pairs.
std::uint64_t eightDigits(std::uint32_t number) {
    const std::uint64_t fours = number / 10000 | std::uint64_t{number % 10000} << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007f0000007f;
    const std::uint64_t pairs = hundreds | (fours - 100 * hundreds) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000f000f000f000f;
    return tens | (pairs - 10 * tens) << 8;
}

/// Writes eight digits, those of them that count; returns the end of those that are not zeros at the end.
char* putEight(char* out, std::uint64_t digits) {
    constexpr std::uint64_t kZeros = 0x3030303030303030;
    const std::uint64_t text = digits | kZeros;
    std::memcpy(out, &text, sizeof text);
    return out + (64 - std::countl_zero(digits) + 7) / 8;
}

char* putWhole(char* out, std::uint64_t whole) {
    constexpr std::uint64_t kTwoDigits = 100;
    if (whole >= kTwoDigits) return std::to_chars(out, out + kLongestNumber, whole).ptr;
    // One digit or two is a matter of chance for a branch.
    const std::uint64_t tens = whole / 10, hasTens = tens > 0;
    const auto text =
        static_cast<std::uint16_t>((0x3030 | tens | (whole - 10 * tens) << 8) >> (8 - 8 * hasTens));
    std::memcpy(out, &text, sizeof text);
    return out + 1 + hasTens;
}

/// Writes a point and the digits after it without zeros at the end; nothing where all are zeros. As many as 17
/// characters may be written over.
char* putPlaces(char* out, std::uint64_t digits, int places) {
    constexpr std::uint64_t kTens[] = {
        1,        10,        100,        1000,        10000,        100000,       1000000,
        10000000, 100000000, 1000000000, 10000000000, 100000000000, 1000000000000};
    constexpr std::uint32_t kEight = 100000000;
    if (digits == 0) return out;
    *out++ = '.';
    if (places <= 8) {
        return putEight(out, eightDigits(static_cast<std::uint32_t>(digits * kTens[8 - places])));
    }
    const std::uint64_t sixteen = digits * kTens[16 - places];
    const std::uint64_t last = eightDigits(static_cast<std::uint32_t>(sixteen % kEight));
    char* const end = putEight(out, eightDigits(static_cast<std::uint32_t>(sixteen / kEight)));
    return last == 0 ? end : putEight(out + 8, last);
}

bool isBlankCharacter(char c) {
    return c == ' ' || c == '\t';
}

void skipBlanks(std::string_view& line) {
    while (!line.empty() && isBlankCharacter(line.front()))
        line.remove_prefix(1);
}

/// Whether a number that stops here is one, or has something stuck to its end.
bool endsAt(const char* stop, std::string_view line) {
    return stop == line.data() + line.size() || isBlankCharacter(*stop);
}

void cutFrom(std::string_view& line, const char* stop) {
    line.remove_prefix(static_cast<std::size_t>(stop - line.data()));
}

/// Numbers of every notation.
template <class Number>
bool takeAny(std::string_view& line, Number& number) {
    std::string_view rest = line;
    // from_chars knows no plus sign.
    if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc{} || !endsAt(stop, rest)) return false;
    cutFrom(line, stop);
    return true;
}

/// Plain digits for everything a scanner measures; exponents only where digits would run on.
std::chars_format notation(double value) {
    const double size = std::abs(value);
    return size == 0 || (size >= 1e-7 && size < 1e9) ? std::chars_format::fixed
                                                     : std::chars_format::general;
}

// A share is cut to the fewest digits that give its intensity again. At most one number of six digits
// comes back as a given float, so the first try finds every number that was written with six or fewer;
// nine digits distinguish all floats.
constexpr int kFewestDigits = 6, kMostDigits = 9;

/// Shares of intensities above all others: 0.0001 to 1. Null when rounding in this way may err.
char* putUsualShare(char* out, double share, float intensity) {
    if (!(share >= 1e-4 && share <= 1)) return nullptr;
    int places = kFewestDigits;
    for (const double limit : {1e-1, 1e-2, 1e-3})
        places += share < limit;
    for (const int most = places + kMostDigits - kFewestDigits;; ++places) {
        const double scaled = share * kPowersOfTen[places];
        const Decimal decimal{static_cast<std::uint64_t>(scaled + 0.5), places};
        const double moved = std::abs(scaled - static_cast<double>(decimal.digits));
        // The product has an error of its own, of up to 1e-7.
        if (moved > 0.5 - 1e-6) return nullptr;
        if (places == most || toFullScale(valueOf(decimal)) == intensity) {
            const auto one = static_cast<std::uint64_t>(kPowersOfTen[places]);
            const bool isOne = decimal.digits >= one;
            *out++ = isOne ? '1' : '0';
            return putPlaces(out, decimal.digits - (isOne ? one : 0), places);
        }
    }
}

char* putAnyShare(char* out, double share, float intensity) {
    for (int digits = kFewestDigits;; ++digits) {
        char* const end = std::to_chars(out, out + kLongestNumber, share,
                                        std::chars_format::scientific, digits - 1)
                              .ptr;
        double read = 0;
        std::from_chars(out, end, read);
        if (digits == kMostDigits || toFullScale(read) == intensity) {
            return putCoordinate(out, read);
        }
    }
}

}  // namespace

bool takeNumber(std::string_view& line, double& number) {
    std::string_view rest = line;
    skipBlanks(rest);
    const bool isNegative = !rest.empty() && rest.front() == '-';
    Decimal decimal;
    const char* const stop =
        readDecimal(rest.data() + isNegative, rest.data() + rest.size(), decimal);
    if (stop && endsAt(stop, rest)) {
        number = isNegative ? -valueOf(decimal) : valueOf(decimal);
        cutFrom(rest, stop);
    } else {
        double value = 0;
        if (!takeAny(rest, value) || !std::isfinite(value)) return false;
        number = value;
    }
    line = rest;
    return true;
}

namespace {

/// Colours with a fraction, which few files have.
bool takeRounded(std::string_view& line, std::uint8_t& colour) {
    std::string_view rest = line;
    double number = 0;
    if (!takeNumber(rest, number) || number < 0 || number > 255) return false;
    colour = static_cast<std::uint8_t>(number + 0.5);
    line = rest;
    return true;
}

}  // namespace

bool takeColour(std::string_view& line, std::uint8_t& colour) {
    std::string_view rest = line;
    skipBlanks(rest);
    if (!takeAny(rest, colour)) return takeRounded(line, colour);
    line = rest;
    return true;
}

std::string_view takeWord(std::string_view& line) {
    skipBlanks(line);
    const std::string_view word = line.substr(0, line.find_first_of(" \t"));
    line.remove_prefix(word.size());
    return word;
}

bool isNan(std::string_view word) {
    if (word.starts_with('-') || word.starts_with('+')) word.remove_prefix(1);
    const auto isLetter = [&](std::size_t i, char letter) {
        return word.size() > i && (word[i] | 0x20) == letter;
    };
    return isLetter(0, 'n') && isLetter(1, 'a') && isLetter(2, 'n');
}

bool isBlank(std::string_view line) {
    skipBlanks(line);
    return line.empty();
}

char* putCoordinate(char* out, double metres) {
    constexpr int kPlaces = 6;  // what files of scans have at most
    constexpr std::uint64_t kOnePlaces = 1000000;
    constexpr double kOne = 1e6, kMost = 1e9;
    const double size = std::abs(metres);
    if (size > 0 && size < kMost) {
        const Decimal decimal{static_cast<std::uint64_t>(size * kOne + 0.5), kPlaces};
        if (valueOf(decimal) == size) {
            *out = '-';
            out = putWhole(out + (metres < 0), decimal.digits / kOnePlaces);
            return putPlaces(out, decimal.digits % kOnePlaces, kPlaces);
        }
    }
    return std::to_chars(out, out + kLongestNumber, metres, notation(metres)).ptr;
}

char* putIntensity(char* out, float intensity) {
    const double share = static_cast<double>(intensity) / static_cast<double>(BriskoCodec::i_range);
    char* const end = putUsualShare(out, share, intensity);
    return end ? end : putAnyShare(out, share, intensity);
}

}  // namespace brisko::scan
