#include <brisko_scan/matrix_file.h>

#include "base/text.h"
#include "scan/files/input_file.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <vector>

namespace brisko::scan {
namespace {

constexpr std::size_t kElements = 16;

class MatrixText {
public:
    explicit MatrixText(const std::string& path) : m_path(path) {}

    void addLine(std::string_view line) {
        ++m_line;
        line = line.substr(0, line.find('#'));
        constexpr const char* kBetween = " ,\t\r";
        while (true) {
            line.remove_prefix(std::min(line.find_first_not_of(kBetween), line.size()));
            if (line.empty()) return;
            const std::size_t end = std::min(line.find_first_of(kBetween), line.size());
            addNumber(line.substr(0, end));
            line.remove_prefix(end);
        }
    }

    Alignment take() const {
        if (m_numbers.size() != kElements) {
            fail("it holds " + std::to_string(m_numbers.size()) +
                 " numbers; the 16 of a matrix are expected, row by row");
        }
        Alignment alignment;
        alignment.source = AlignmentSource::File;
        std::copy(m_numbers.begin(), m_numbers.end(), alignment.matrix);
        const double(&m)[16] = alignment.matrix;
        if (m[12] != 0 || m[13] != 0 || m[14] != 0 || m[15] != 1) {
            fail(formatText("the last row is %.9g %.9g %.9g %.9g, not 0 0 0 1", m[12], m[13], m[14],
                            m[15]));
        }
        if (isSingular(m)) fail("the matrix is singular: it has no inverse");
        return alignment;
    }

private:
    void addNumber(std::string_view text) {
        const std::string_view digits = text.substr(text.starts_with('+') ? 1 : 0);
        double number = 0;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, number);
        const bool isNumber = error == std::errc{} && stop == end && std::isfinite(number);
        if (!isNumber) {
            fail("line " + std::to_string(m_line) + ": \"" + std::string(text.substr(0, 40)) +
                 "\" is not a finite number");
        }
        m_numbers.push_back(number);
        if (m_numbers.size() > kElements) {
            fail("line " + std::to_string(m_line) + ": more than the 16 numbers of a matrix");
        }
    }

    /// Against the lengths of its rows, so that the unit does not matter.
    static bool isSingular(const double (&m)[16]) {
        constexpr double kLeast = 1e-9;
        double lengths = 1;
        for (std::size_t row = 0; row < 3; ++row)
            lengths *= std::hypot(m[4 * row], m[4 * row + 1], m[4 * row + 2]);
        const double determinant = m[0] * (m[5] * m[10] - m[6] * m[9]) -
                                   m[1] * (m[4] * m[10] - m[6] * m[8]) +
                                   m[2] * (m[4] * m[9] - m[5] * m[8]);
        return !(std::abs(determinant) > kLeast * lengths);
    }

    [[noreturn]] void fail(const std::string& reason) const {
        throw ScanError(ErrorKind::Damaged, m_path, reason);
    }

    const std::string& m_path;
    std::size_t m_line = 0;
    std::vector<double> m_numbers;
};

}  // namespace

Alignment readMatrixFile(const std::string& path) {
    constexpr std::size_t kMost = 1 << 16;  // bytes; comments of some length included
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    InputFile file(path);
    if (file.size() > kMost) {
        throw ScanError(ErrorKind::Damaged, path, "too long for the text of a matrix");
    }
    std::string text(static_cast<std::size_t>(file.size()), '\0');
    text.resize(file.read(text.data(), text.size()));
    std::string_view left = text;
    if (left.starts_with(kByteOrderMark)) left.remove_prefix(kByteOrderMark.size());
    MatrixText matrix(path);
    while (!left.empty()) {
        const std::size_t end = std::min(left.find('\n'), left.size());
        matrix.addLine(left.substr(0, end));
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return matrix.take();
}

std::string matrixText(const double (&matrix)[16]) {
    std::string text =
        "# from the scanner's frame to the aligned one, metres; points are columns\n";
    for (std::size_t row = 0; row < 4; ++row) {
        const double* const r = matrix + 4 * row;
        text += formatText("%.17g %.17g %.17g %.17g\n", r[0], r[1], r[2], r[3]);
    }
    return text;
}

}  // namespace brisko::scan
