#pragma once

#include <cstdint>

namespace brisko::scan {

/// What stands in front of the points of a PTX file.
///
///   line  1    columns
///   line  2    rows
///   line  3    position of the scanner: the translation of the matrix again
///   lines 4-6  the scanner's x, y and z axis: its rotation again
///   lines 7-10 the matrix, one of its columns a line; the translation is the last line
///
/// Then one line for every cell, column by column, row 0 first: x y z intensity, and red green blue
/// where the scan has colour. Metres in the scanner's frame; intensity from 0 to 1. An empty cell
/// is "0 0 0 0.5", with colour "0 0 0 0.5 0 0 0".
struct PtxHeader {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    /// Row by row, for column vectors: scanner's frame to aligned frame.
    double matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

inline constexpr int kPtxHeaderLines = 10;
inline constexpr int kPtxFields = 4;
inline constexpr int kPtxColourFields = 7;

}  // namespace brisko::scan
