#pragma once

#include "scan/formats/ptx/plain_number.h"

#include <brisko_codec/codec.h>

#include <cmath>
#include <cstdint>
#include <string_view>

/// Numbers as text files of points spell them, always with a decimal point.
namespace brisko::scan {

/// Takes the next number off the front of a line, with the blanks before it. False, and nothing
/// taken, when there is none, it is not finite, or something is stuck to its end.
bool takeNumber(std::string_view& line, double& number);
/// The same for a line that lies in a larger text: as many as kPlainSlack bytes after it may be looked at.
inline bool takeNumberInside(std::string_view& line, double& number) {
    if (line.empty()) return false;
    const char* in = line.data();
    const char* const end = in + line.size();
    in += *in == ' ';
    double value = 0;
    const char* const stop = takePlain(in, value);
    if (!stop || stop > end || (stop < end && *stop != ' ')) return takeNumber(line, number);
    number = value;
    line.remove_prefix(static_cast<std::size_t>(stop - line.data()));
    return true;
}
/// The same for a colour, 0 to 255; a fraction is rounded.
bool takeColour(std::string_view& line, std::uint8_t& colour);
/// Takes the next run of characters that are no blanks, with the blanks before it; empty at the end.
std::string_view takeWord(std::string_view& line);
/// Whether a word stands for a number that is missing: "nan", "-NaN", "nan(ind)".
bool isNan(std::string_view word);
/// Whether nothing but blanks is left.
bool isBlank(std::string_view line);

/// Room for any number below.
inline constexpr int kLongestNumber = 32;

/// Writes the shortest text that reads back to the same number; returns its end.
char* putCoordinate(char* out, double metres);

/// An intensity as a share of 1 (PTX) as a full-scale one (0 to 2200).
inline float toFullScale(double share) {
    return static_cast<float>(share * static_cast<double>(BriskoCodec::i_range));
}
/// Whether that is a float, however large: every finite intensity has a share that comes back.
inline bool fitsFullScale(double share) {
    constexpr double kBeyondFloats = 0x1.ffffffp127;  // what is less rounds to a finite float
    return std::abs(share * static_cast<double>(BriskoCodec::i_range)) < kBeyondFloats;
}
/// The shortest text whose number comes back through toFullScale as the same intensity.
char* putIntensity(char* out, float intensity);

}  // namespace brisko::scan
