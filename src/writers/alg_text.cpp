#include "writers/alg_text.h"

#include "base/or_failure.h"
#include "base/staged_output.h"
#include "base/text.h"

#include <cmath>

namespace brisko {

namespace {

/// A NaN is printed without a sign: not every C library gives it one.
std::string number(double value) {
    return std::isnan(value) ? "nan" : formatText("%.18f", value);
}

std::string areaLine(const double (&corner)[3], const char* name) {
    return number(corner[0]) + " " + number(corner[1]) + " " + number(corner[2]) + " // " + name +
           " area\n";
}

}  // namespace

std::string algText(const double (&matrix)[16], const AlignmentBox& box) {
    std::string text = "CL3_ALG_0.1\n";
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            text += number(matrix[4 * row + column]) + " ";
        }
        text += "//matrix " + std::to_string(row + 1) + "\n";
    }
    text += "2200 // max intensity\n";
    text += "1 // min intensity\n";
    text += "1// block size\n";  // no blank here; files on disk have none
    text += areaLine(box.max, "max");
    text += areaLine(box.min, "min");
    return text;
}

bool writeAlignmentFile(const char* path, const double (&matrix)[16], const AlignmentBox& box) {
    return orFailure([&] { return replaceFile(path, algText(matrix, box)); });
}

}  // namespace brisko
