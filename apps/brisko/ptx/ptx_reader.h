#pragma once

#include "ptx/line_reader.h"
#include "ptx/ptx_header.h"

#include <brisko_codec/cell_reader.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// Reads a PTX file of one scan, whatever its size, with the memory of one block.
/// Everything that does not fit the layout is a Failure(Damaged) that names the line.
class PtxReader {
public:
    /// Opens the file and reads its header.
    explicit PtxReader(const std::string& path);

    const PtxHeader& header() const { return m_header; }
    bool hasColour() const { return m_fields == kPtxColourFields; }

    /// Replaces the points by the next ones, at most `capacity`, column by column with rising rows;
    /// empty cells are passed over. Scanner's frame; intensity 0 to 2200. No points: the scan is at
    /// its end, and the file held exactly one.
    void read(std::vector<CellPoint>& points, std::size_t capacity);

    std::uint64_t bytesRead() const { return m_lines.position(); }
    std::uint64_t bytes() const { return m_lines.size(); }

private:
    void readHeader();
    void requireRoomForCells();
    void countFields();
    bool readCell(CellPoint& point);
    void requireEnd();
    std::string_view nextLine(const char* what);
    std::uint32_t readCount(const char* what);
    void readNumbers(double* numbers, int count, const char* what);
    [[noreturn]] void fail(const std::string& reason) const;

    LineReader m_lines;
    PtxHeader m_header;
    int m_fields = kPtxFields;
    std::uint32_t m_column = 0;  // of the next cell
    std::uint32_t m_row = 0;
};

}  // namespace brisko::tool
