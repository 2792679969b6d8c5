#include "layouts/alg_text.h"

#include "base/text.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace brisko {

namespace {

constexpr std::size_t kMaxToken = 255;  // a longer word counts as several
constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// Takes the next word off the start of a text; empty when there is none.
std::string takeToken(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::size_t length = std::min({text.find_first_of(kBlanks), text.size(), kMaxToken});
    std::string token(text.substr(0, length));
    text.remove_prefix(length);
    return token;
}

/// Reads as many numbers as a line begins with; what follows them is a comment.
void scanMatrixRow(const std::string& line, Matrix& matrix, std::size_t row) {
    const char* at = line.c_str();
    for (std::size_t column = 0; column < 4; ++column) {
        const char* end = nullptr;
        const double value = parseDouble(at, &end);
        if (end == at) return;
        matrix[row + 4 * column] = value;
        at = end;
    }
}

template <class Number>
void scanNumber(const NextAlgLine& next, Number (*parse)(const char*, const char**),
                Number& number) {
    std::string line;
    if (!next(line)) return;
    const char* end = nullptr;
    const Number value = parse(line.c_str(), &end);
    if (end != line.c_str()) number = value;
}

/// Takes the first three words of a line as numbers, 0 for a word that is none.
bool scanCorner(const NextAlgLine& next, std::array<double, 3>& corner) {
    std::string line;
    if (!next(line)) return false;
    std::string_view rest = line;
    bool any = false;
    for (double& coordinate : corner) {
        const std::string token = takeToken(rest);
        if (token.empty()) break;
        const char* end = nullptr;
        coordinate = parseDouble(token.c_str(), &end);
        any = true;
    }
    return any;
}

/// A number with a fixed point. A NaN is printed without a sign: not every C library gives it one.
std::string fixed(double value) {
    return std::isnan(value) ? "nan" : formatText("%.18f", value);
}

std::string fixedCorner(const std::array<double, 3>& corner, const char* name) {
    return fixed(corner[0]) + " " + fixed(corner[1]) + " " + fixed(corner[2]) + " // " + name +
           " area\n";
}

}  // namespace

AlgRead decodeAlgHeader(const NextAlgLine& next, AlgHeader& header) {
    std::string line;
    if (!next(line)) return AlgRead::LineMissing;
    header.version = line;
    if (header.version != kAlgVersion) return AlgRead::WrongVersion;
    for (std::size_t row = 0; row < 4; ++row) {
        if (!next(line)) return AlgRead::LineMissing;
        scanMatrixRow(line, header.matrix, row);
    }
    scanNumber(next, parseFloat, header.maxIntensity);
    scanNumber(next, parseFloat, header.minIntensity);
    scanNumber(next, parseInt32, header.blockSize);
    return AlgRead::Done;
}

std::string encodeAlgHeader(const AlgHeader& header) {
    std::string text = std::string(header.version.c_str()) + "\n";  // up to a NUL, as printf does
    for (std::size_t row = 0; row < 4; ++row) {
        const auto& m = header.matrix;
        // Deliberate: no blank before the comment.
        text += formatText("%.12le %.12le %.12le %.12le//matrix %d\n", m[row], m[row + 4],
                           m[row + 8], m[row + 12], static_cast<int>(row) + 1);
    }
    text += formatText("%f // max intensity\n", static_cast<double>(header.maxIntensity));
    text += formatText("%f // min intensity\n", static_cast<double>(header.minIntensity));
    return text + formatText("%d // block size\n", static_cast<int>(header.blockSize));
}

bool decodeAlgArea(const NextAlgLine& next, AlgArea& area) {
    return scanCorner(next, area.max) && scanCorner(next, area.min);
}

std::string encodeAlgArea(const AlgArea& area) {
    const auto& [max, min] = area;
    return formatText("%.12le %.12le %.12le // max area\n", max[0], max[1], max[2]) +
           formatText("%.12le %.12le %.12le // min area\n", min[0], min[1], min[2]);
}

std::string algText(const Matrix& rows, const AlgArea& area) {
    std::string text = std::string(kAlgVersion) + "\n";
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column)
            text += fixed(rows[4 * row + column]) + " ";
        text += "//matrix " + std::to_string(row + 1) + "\n";
    }
    text += "2200 // max intensity\n";
    text += "1 // min intensity\n";
    text += "1// block size\n";  // no blank here; files on disk have none
    return text + fixedCorner(area.max, "max") + fixedCorner(area.min, "min");
}

}  // namespace brisko
