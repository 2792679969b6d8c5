#pragma once

#include "layouts/alignment_matrix.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>

/// The text of ALG files, both ways. It comes in two spellings: the processing library writes numbers
/// with exponents and a box for every block, the grid writer writes fixed-point numbers and one box
/// around all points. Reading takes either. Numbers have a decimal point whatever the host's locale is.
namespace brisko {

/// The only version of ALG files that there is, and their first line.
inline constexpr char kAlgVersion[] = "CL3_ALG_0.1";

/// What an ALG file says about the whole scan.
struct AlgHeader {
    std::string version = kAlgVersion;
    /// The alignment column by column (element of row r and column c at r + 4c), while a line of the
    /// file is a row: loading it into a matrix kept row by row transposes.
    Matrix matrix = kIdentityMatrix;
    float maxIntensity = 0;
    float minIntensity = 0;
    std::int32_t blockSize = 0;  // carried along; its meaning is the writer's
};

/// A box around points, of one block or of all; metres, scanner frame.
struct AlgArea {
    std::array<double, 3> max{};
    std::array<double, 3> min{};
};

/// Gives the next line of a text without its end; false at the end of the text and for an empty line.
using NextAlgLine = std::function<bool(std::string& line)>;

enum class AlgRead { Done, WrongVersion, LineMissing };

/// Reads the lines of a header. Numbers that a line does not hold keep their values, and so do the
/// intensities and the block size where their lines are missing. Of a wrong version the line is kept in
/// `version`, and nothing else is read.
AlgRead decodeAlgHeader(const NextAlgLine& next, AlgHeader& header);
/// The same lines as the processing library writes them.
std::string encodeAlgHeader(const AlgHeader& header);

/// Reads the two lines of a box. False when one is missing or blank.
bool decodeAlgArea(const NextAlgLine& next, AlgArea& area);
/// The same lines as the processing library writes them.
std::string encodeAlgArea(const AlgArea& area);

/// The whole file as the grid writer writes it.
///   rows  the alignment row by row
std::string algText(const Matrix& rows, const AlgArea& area);

}  // namespace brisko
