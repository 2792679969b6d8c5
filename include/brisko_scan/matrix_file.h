#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_scan/export.h>

#include <string>

namespace brisko::scan {

/// Reads a matrix file: the 16 numbers of a 4x4 matrix as text, row by row, between blanks or commas;
/// from "#" to the end of a line is a comment. It takes points of the scanner's frame, as columns
/// (x, y, z, 1), to the aligned frame, metres: the translation is the last column, the last row 0 0 0 1.
/// (An .alg file has another layout.)
/// Throws ScanError(Damaged) where it cannot be read or is no such matrix.
BRISKO_SCAN_EXPORT Alignment readMatrixFile(const std::string& path);

/// The text of a matrix file; the numbers have 17 digits, so that reading gives the same matrix.
BRISKO_SCAN_EXPORT std::string matrixText(const double (&matrix)[16]);

}  // namespace brisko::scan
