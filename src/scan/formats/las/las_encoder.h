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

/// Turns points into records, and keeps what the header has to say of all of them.
class LasEncoder {
public:
    /// shownPath: the output, as messages name it.
    LasEncoder(const LasForm& form, const std::string& shownPath);

    /// Chooses the offset of the coordinates, near the first of these points. To be called until a point
    /// is stored.
    void chooseOffset(std::span<const CellPoint> points);
    /// The source of the points that come next.
    void setStation(std::uint16_t station) { m_station = station; }
    /// Returns how many points became records; the others are counted in leftOut().
    /// Throws ScanError(NotWritten) for a point that is too far away for its coordinates.
    std::size_t encode(std::span<const CellPoint> points, std::uint8_t* out) {
        return (this->*m_encode)(points, out);
    }

    const std::array<double, 3>& offset() const { return m_offset; }
    /// Of the coordinates as they are stored; metres.
    std::array<double, 3> least() const { return toMetres(m_extent.min); }
    std::array<double, 3> largest() const { return toMetres(m_extent.max); }

    std::uint64_t coloured() const { return m_coloured; }
    std::uint64_t beyondScale() const { return m_beyondScale; }
    const LeftOut& leftOut() const { return m_leftOut; }
    bool hasWholeIntensities() const { return m_isWhole; }
    /// As LasScanRecord has it.
    std::uint32_t bandColumns() const { return m_order.bandColumns(); }

private:
    static constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

    using Encode = std::size_t (LasEncoder::*)(std::span<const CellPoint> points,
                                               std::uint8_t* out);
    /// Integers that the coordinates became.
    struct Extent {
        std::array<std::int32_t, 3> min = {kMost, kMost, kMost}, max = {kLeast, kLeast, kLeast};
    };

    template <std::uint8_t kFormat>
    static Encode chooseCells(LasCells cells);
    static Encode chooseEncode(const LasForm& form);
    template <std::uint8_t kFormat, LasCells kCells>
    std::size_t encodeAll(std::span<const CellPoint> points, std::uint8_t* out);

    bool isInGrid(const CellPoint& p) const { return p.column < m_columnEnd && p.row < m_rowEnd; }
    void leaveOut(const CellPoint& p);
    std::array<double, 3> toMetres(const std::array<std::int32_t, 3>& place) const;

    LasForm m_form;
    std::string m_shownPath;
    Encode m_encode;
    std::uint16_t m_station = kLasStation;
    // The padding of the last tiles can hold points, and scans do have some there.
    std::uint64_t m_columnEnd, m_rowEnd;
    std::array<double, 3> m_offset = {};
    Extent m_extent;
    bool m_isWhole = true;  // all intensities
    std::uint64_t m_coloured = 0, m_beyondScale = 0;
    LeftOut m_leftOut;
    ColumnBands m_order;
};

}  // namespace brisko::scan
