#pragma once

#include "layouts/alignment_matrix.h"
#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/scan_input.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/inspect.h>
#include <brisko_scan/scan_error.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// What comes before the points of a PTX file.
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
    Matrix matrix = kIdentityMatrix;
};

inline constexpr int kPtxFields = 4;
inline constexpr int kPtxColourFields = 7;

/// Something in a PTX file that does not fit the layout.
class PtxDamage : public ScanError {
public:
    /// line: where it is, from 1; 0 where it is in none.
    PtxDamage(const std::string& path, std::uint64_t line, const std::string& reason, bool isCell);

    std::uint64_t line() const { return m_line; }
    const std::string& reason() const { return m_reason; }
    /// Whether it is the line of a single cell, after which reading can go on.
    bool isCell() const { return m_isCell; }

private:
    std::uint64_t m_line;
    std::string m_reason;
    bool m_isCell;
};

/// Reads a PTX file of one scan, whatever its size, with the memory of one block.
/// Everything that does not fit the layout is a PtxDamage, a ScanError(Damaged) that names the line.
class PtxReader {
public:
    /// Opens the file and reads its header.
    explicit PtxReader(const std::string& path);

    const PtxHeader& header() const { return m_header; }
    bool hasColour() const { return m_fields == kPtxColourFields; }

    /// Replaces the points by the next ones, at most `capacity`, column by column with rising rows;
    /// empty cells are passed over. Scanner's frame; intensity 0 to 2200. No points: the scan is at
    /// its end, and the file held exactly one. Where the line of a cell is damaged, `points` holds those
    /// before it, and the next call goes on with the next cell.
    void read(std::vector<CellPoint>& points, std::size_t capacity);
    /// Cells passed so far, with and without a point.
    std::uint64_t cells() const { return std::uint64_t{m_column} * m_header.rows + m_row; }

    std::uint64_t bytesRead() const { return m_lines.position(); }
    std::uint64_t bytes() const { return m_lines.size(); }

private:
    void readHeader();
    void requireRoomForCells();
    void countFields();
    bool readCell(CellPoint& point);
    void passCell();
    void requireEnd();
    std::string_view nextLine(const char* what);
    std::uint32_t readCount(const char* what);
    void readNumbers(double* numbers, int count, const char* what);
    [[noreturn]] void fail(const std::string& reason, bool isCell = false) const;

    LineReader m_lines;
    PtxHeader m_header;
    int m_fields = kPtxFields;
    std::uint32_t m_column = 0;  // of the next cell
    std::uint32_t m_row = 0;
};

/// A PTX file as a scan.
class PtxInput : public ScanInput {
public:
    explicit PtxInput(const std::string& path);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_reader->bytesRead(); }
    std::uint64_t steps() const override { return m_reader->bytes(); }
    const char* stepUnit() const override { return "bytes"; }
    std::string remark() const override;

private:
    std::unique_ptr<PtxReader> m_reader;
    bool m_foreignIntensity = false;  // files of some programs hold other scales than 0 to 1
};

/// What its header and its first line with a point say.
ScanReport describePtx(const std::string& path);

}  // namespace brisko::scan
