#pragma once

#include "scan/files/named_output.h"
#include "scan/formats/ptx/ptx_reader.h"

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <span>

namespace brisko::scan {

/// Writes the text of a PTX file.
class PtxWriter {
public:
    PtxWriter(NamedOutput& file, bool withColour) : m_file(file), m_withColour(withColour) {}

    /// Whether the cells of the scan that is begun next have colours.
    void setColour(bool withColour) { m_withColour = withColour; }
    void writeHeader(const PtxHeader& header);
    /// The points of one column by rising row, at most one a row; the other rows are empty cells.
    void writeColumn(std::span<const CellPoint> points, std::uint32_t rows);

private:
    void writePoint(const CellPoint& point);
    void writeEmptyCells(std::uint64_t count);

    NamedOutput& m_file;
    bool m_withColour;
};

}  // namespace brisko::scan
