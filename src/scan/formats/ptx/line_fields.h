#pragma once

#include <cstddef>
#include <string_view>

namespace brisko::scan {

/// What the numbers of a point's line are: "x y z", then an intensity, a colour and a normal, each of
/// which may be missing. All lines of a scan hold the same.
struct LineFields {
    static constexpr int kMost = 10;

    int count = 0;              // 3, 4, 6, 7, 9 or 10; something else: no such line
    bool hasIntensity = false;  // the fourth
    int colourAt = 0;           // before red; 0: no colour

    bool hasColour() const { return colourAt > 0; }
    int firstTriple() const { return hasIntensity ? 4 : 3; }
};

/// What the first line says. Whether three of its numbers are a colour or a normal shows in one of the next
/// lines that hold a point.
///   longest  becomes the length of the longest line with its end, in bytes
LineFields fieldsOf(std::string_view lines, std::size_t& longest);

/// `"x y z intensity red green blue" with colours from 0 to 255`.
const char* nameOf(const LineFields& fields);

}  // namespace brisko::scan
