#pragma once

#include "scan/formats/las/las_layout.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/convert.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>

namespace brisko::scan {

/// How columns and rows stand in a point record.
enum class LasCells { None, Narrow, Wide };

constexpr std::size_t widthOf(LasCells cells) {
    return cells == LasCells::None ? 0 : cells == LasCells::Narrow ? 2 : 4;
}

/// What the records of a file look like.
struct LasForm {
    std::uint8_t pointFormat = 0;  // 0, 2, 6 or 7
    LasCells cells = LasCells::None;
    std::uint32_t columns = 0, rows = 0;  // of the grid
    double precision = 0;                 // metres

    std::size_t recordSize() const {
        return kLasPointFormats[pointFormat].size + 2 * widthOf(cells);
    }
};

/// The source of the points of a single scan.
inline constexpr std::uint16_t kLasStation = 1;

/// What the header has to say of points that became records.
struct LasTally {
    static constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

    std::uint64_t points = 0;
    /// Integers that the coordinates became.
    std::array<std::int32_t, 3> min = {kMost, kMost, kMost}, max = {kLeast, kLeast, kLeast};
    bool hasWholeIntensities = true;
    std::uint64_t coloured = 0, beyondScale = 0;
    LeftOut leftOut;
    std::uint32_t firstColumn = 0;
    ColumnBands order;

    /// Adds what was counted of later points.
    void append(const LasTally& later);
};

/// Turns points into records.
class LasEncoder {
public:
    /// shownPath: the output, as messages name it.
    LasEncoder(const LasForm& form, const std::string& shownPath);

    /// Chooses the offset of the coordinates, near the first of these points. To be called until a point
    /// is stored.
    void chooseOffset(std::span<const CellPoint> points);
    /// The source of the points that come next.
    void setStation(std::uint16_t station) { m_station = station; }
    /// Makes records of points and counts them; others are counted as left out. May be called by several
    /// threads at once. Throws ScanError(NotWritten) for a point that is too far away for its coordinates.
    void encode(std::span<const CellPoint> points, std::uint8_t* out, LasTally& tally) const {
        (this->*m_encode)(points, out, tally);
    }

    const std::array<double, 3>& offset() const { return m_offset; }
    /// A place as it is stored; metres.
    std::array<double, 3> toMetres(const std::array<std::int32_t, 3>& place) const;

private:
    using Encode = void (LasEncoder::*)(std::span<const CellPoint> points, std::uint8_t* out,
                                        LasTally& tally) const;

    template <std::uint8_t kFormat>
    static Encode chooseCells(LasCells cells);
    static Encode chooseEncode(const LasForm& form);
    template <std::uint8_t kFormat, LasCells kCells>
    void encodeAll(std::span<const CellPoint> points, std::uint8_t* out, LasTally& tally) const;

    bool isInGrid(const CellPoint& p) const { return p.column < m_columnEnd && p.row < m_rowEnd; }
    void leaveOut(const CellPoint& p, LeftOut& leftOut) const;

    LasForm m_form;
    std::string m_shownPath;
    Encode m_encode;
    std::uint16_t m_station = kLasStation;
    // The padding of the last tiles can hold points, and scans do have some there.
    std::uint64_t m_columnEnd, m_rowEnd;
    std::array<double, 3> m_offset = {};
};

}  // namespace brisko::scan
