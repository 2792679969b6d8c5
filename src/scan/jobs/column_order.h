#pragma once

#include "base/private_folder.h"

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan {

/// Brings points that come tile by tile into column order. It keeps one band of columns at a time,
/// and of that only the points that there are; those that would take more than about 50 MB wait in a
/// file without a name.
class ColumnOrder {
public:
    using Sink = std::function<void(std::span<CellPoint>)>;

    /// bandColumns: points of a band of so many columns come before those of the next band; as many as the
    ///              grid has, where they come in any order.
    /// scan: named in messages. beside: the output, in whose folder points wait.
    ColumnOrder(std::uint32_t bandColumns, const std::string& scan, const std::string& beside,
                Sink sink);

    /// Throws ScanError(Damaged) for a point of a band that already passed.
    void add(std::span<const CellPoint> points);
    /// Hands out the last band.
    void finish();
    /// The same part by part, for those who want no more points at a time: about a million at most.
    /// Returns: false where there was none left.
    bool handOutPart();

private:
    /// A part of the band on the disk: its points column by column.
    struct Run {
        std::uint64_t offset;
        std::vector<std::uint32_t> begins;  // of each strip's points, and the end
    };

    std::vector<std::size_t> sortByColumn(std::vector<std::uint32_t>& order) const;
    template <class Use>
    void takeSorted(const std::vector<std::uint32_t>& order, const Use& use);
    void spill();
    void handOut();
    void handOutStrips();
    void readBack(const Run& run, std::size_t first, std::size_t end);
    void handOutSorted();

    std::uint32_t m_bandColumns;
    std::uint32_t m_stripColumns;  // several, where a band has very many
    std::string m_scan;
    std::string m_beside;
    Sink m_sink;
    std::uint32_t m_band = 0;
    std::vector<CellPoint> m_points;
    std::vector<Run> m_runs;
    std::size_t m_strip = 0;  // of the runs, the next to be handed out
    SpillFile m_spill;
};

}  // namespace brisko::scan
