#include "scan/formats/ptx/line_fields.h"

#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/ptx/number_text.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

/// The lines of a text, one after the other; the last one may be cut.
bool takeLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    line = withoutCarriageReturn(line);
    return true;
}

/// The numbers of a line, 0 for each that is missing. Returns how many; 0 for a line of something else.
int takeNumbers(std::string_view line, double* numbers, int most) {
    int count = 0;
    while (count < most && !isBlank(line)) {
        if (!takeNumber(line, numbers[count])) {
            if (!isNan(takeWord(line))) return 0;
            numbers[count] = 0;
        }
        ++count;
    }
    return count;
}

enum class Triple { Either, Colour, Normal };

/// Distinguishes colours from normals. Both may be 0 or 1.
Triple kindOf(const double* numbers) {
    bool isInside = true, isWhole = true;
    for (int i = 0; i < 3; ++i) {
        isInside &= std::abs(numbers[i]) <= 1;
        isWhole &= numbers[i] >= 0 && numbers[i] == std::floor(numbers[i]);
    }
    if (!isInside) return Triple::Colour;
    return isWhole ? Triple::Either : Triple::Normal;
}

}  // namespace

LineFields fieldsOf(std::string_view lines, std::size_t& longest) {
    LineFields fields;
    Triple triple = Triple::Either;
    std::string_view line;
    longest = 0;
    while (takeLine(lines, line)) {
        longest = std::max(longest, line.size() + 2);
        const bool isKnown = fields.count > 0 && (fields.count < 6 || triple != Triple::Either);
        if (isKnown || isComment(line)) continue;
        double numbers[LineFields::kMost + 1] = {};
        const int count = takeNumbers(line, numbers, LineFields::kMost + 1);
        if (fields.count == 0) {
            fields.count = count;
            fields.hasIntensity = count % 3 == 1;
        }
        if (count == fields.count && count >= 6) triple = kindOf(numbers + fields.firstTriple());
    }
    const bool isNormalFirst = triple == Triple::Normal;
    const int triples = fields.count / 3 - 1;
    if (triples == 1 && !isNormalFirst) fields.colourAt = fields.firstTriple();
    if (triples == 2) fields.colourAt = fields.firstTriple() + (isNormalFirst ? 3 : 0);
    return fields;
}

const char* nameOf(const LineFields& fields) {
    const int triples = fields.count / 3 - 1;
    if (!fields.hasIntensity) {
        if (triples <= 0) return "\"x y z\"";
        if (triples == 2) return "\"x y z\" with a colour from 0 to 255 and a normal";
        return fields.hasColour() ? "\"x y z red green blue\" with colours from 0 to 255"
                                  : "\"x y z\" and a normal of three numbers";
    }
    if (triples <= 0) return "\"x y z intensity\"";
    if (triples == 2) return "\"x y z intensity\" with a colour from 0 to 255 and a normal";
    return fields.hasColour() ? "\"x y z intensity red green blue\" with colours from 0 to 255"
                              : "\"x y z intensity\" and a normal of three numbers";
}

}  // namespace brisko::scan
