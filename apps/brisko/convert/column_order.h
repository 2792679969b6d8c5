#pragma once

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace brisko::tool {

/// Brings points that come tile by tile into column order. It keeps one band of columns at a time,
/// and of that only the points that there are.
class ColumnOrder {
public:
    using Sink = std::function<void(std::span<CellPoint>)>;

    /// bandColumns: points of a band of so many columns come before those of the next band.
    /// scan: named in messages.
    ColumnOrder(std::uint32_t bandColumns, const std::string& scan, Sink sink);

    /// Throws Failure(Damaged) for a point of a band that already passed.
    void add(std::span<const CellPoint> points);
    /// Hands out the last band.
    void finish();

private:
    void handOut();

    std::uint32_t m_bandColumns;
    std::string m_scan;
    Sink m_sink;
    std::uint32_t m_band = 0;
    std::vector<CellPoint> m_points;
};

}  // namespace brisko::tool
