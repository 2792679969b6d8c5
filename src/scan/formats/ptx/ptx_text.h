#pragma once

#include "scan/files/named_output.h"
#include "scan/formats/ptx/intensity_texts.h"
#include "scan/formats/ptx/ptx_reader.h"

#include <brisko_codec/cell_reader.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// A part of the text of a PTX file. Long runs of empty cells are only counted, so that its size goes with the
/// points.
class PtxText {
public:
    /// Begins another part.
    void clear();
    /// Whether the cells that come next have colours.
    void setColour(bool withColour) { m_withColour = withColour; }

    void putHeader(const PtxHeader& header);
    /// The points of one column by rising row, at most one a row; the other rows are empty cells.
    void putColumn(std::span<const CellPoint> points, std::uint32_t rows);
    void putEmptyCells(std::uint64_t count);

    /// Throws ScanError(NotWritten).
    void writeTo(NamedOutput& file) const;

private:
    /// Empty cells that are not in the text.
    struct Gap {
        std::size_t at;  // in the text
        std::uint64_t cells;
        bool withColour;
    };

    char* reserve(std::size_t size);
    void putPoint(const CellPoint& point);

    bool m_withColour = false;
    IntensityTexts m_intensities;
    std::vector<char> m_text;
    std::size_t m_size = 0;  // of the text
    std::vector<Gap> m_gaps;
};

}  // namespace brisko::scan
