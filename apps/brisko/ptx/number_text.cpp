#include "ptx/number_text.h"

#include <brisko_codec/codec.h>

#include <charconv>
#include <cmath>

namespace brisko::tool {
namespace {

bool isBlankCharacter(char c) {
    return c == ' ' || c == '\t';
}

void skipBlanks(std::string_view& line) {
    while (!line.empty() && isBlankCharacter(line.front()))
        line.remove_prefix(1);
}

template <class Number>
bool take(std::string_view& line, Number& number) {
    std::string_view rest = line;
    skipBlanks(rest);
    // from_chars knows no plus sign.
    if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
    const char* end = rest.data() + rest.size();
    const auto [stop, error] = std::from_chars(rest.data(), end, number);
    if (error != std::errc{}) return false;
    if (stop != end && !isBlankCharacter(*stop)) return false;
    line = rest.substr(static_cast<std::size_t>(stop - rest.data()));
    return true;
}

/// Plain digits for everything a scanner measures; exponents only where digits would run on.
std::chars_format notation(double value) {
    const double size = std::abs(value);
    return size == 0 || (size >= 1e-7 && size < 1e9) ? std::chars_format::fixed
                                                     : std::chars_format::general;
}

}  // namespace

bool takeNumber(std::string_view& line, double& number) {
    std::string_view rest = line;
    double value = 0;
    if (!take(rest, value) || !std::isfinite(value)) return false;
    number = value;
    line = rest;
    return true;
}

bool takeColour(std::string_view& line, std::uint8_t& colour) {
    return take(line, colour);
}

bool isBlank(std::string_view line) {
    skipBlanks(line);
    return line.empty();
}

char* putCoordinate(char* out, double metres) {
    return std::to_chars(out, out + kLongestNumber, metres, notation(metres)).ptr;
}

float toFullScale(double share) {
    return static_cast<float>(share * static_cast<double>(BriskoCodec::i_range));
}

char* putIntensity(char* out, float intensity) {
    const double share = static_cast<double>(intensity) / static_cast<double>(BriskoCodec::i_range);
    // At most one number of six digits comes back as a given float, so the first try finds every
    // number that was written with six or fewer; nine digits tell all floats apart.
    for (int digits = 6; digits <= 9; ++digits) {
        char* end = std::to_chars(out, out + kLongestNumber, share, std::chars_format::scientific,
                                  digits - 1)
                        .ptr;
        double read = 0;
        std::from_chars(out, end, read);
        if (digits < 9 && toFullScale(read) != intensity) continue;
        return putCoordinate(out, read);
    }
    return out;
}

}  // namespace brisko::tool
