#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace brisko {

/// The ranges, in metres, in which a block of a scan was measured.
struct RangeInterval {
    double lo, hi;

    bool contains(double range) const { return lo <= range && range <= hi; }
    double distanceFromCentre(double range) const { return std::fabs(range - (lo + hi) * 0.5); }
};

/// Intervals by block flag, and the difference in range, in metres, below which two returns of one
/// cell count as the same surface.
struct RangeTable {
    const RangeInterval* intervals;
    std::size_t count;
    double tolerance;

    /// A flag beyond the table has an interval that holds no range and is infinitely far away.
    RangeInterval interval(std::uint8_t flag) const {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return flag < count ? intervals[flag] : RangeInterval{kInfinity, kInfinity};
    }
};

/// The table for a scanner model.
///   modelName  as CLFileHeader::GetModelName answers it: all 12 characters, padding included
/// Deliberate: the padded name never equals a model's name, so that in practice every scan gets the
/// default table. Merged scans on disk were made that way.
const RangeTable& rangeTableFor(const std::string& modelName);

/// Merges the returns that several blocks of a CLR scan hold for the same cells, in block order, a
/// run of cells at a time. Two returns of one surface: the one that lies better in the range
/// interval of its block wins; of two surfaces the farther one.
class BlockMerge {
public:
    explicit BlockMerge(const RangeTable& table) : m_table(table) {}

    /// Starts a run of so many cells, all without a point.
    void start(std::size_t cells);
    /// Adds one block's records of the run.
    void add(const RawRecord* records, std::uint8_t flag);

    const RawRecord* merged() const { return m_merged.data(); }
    RawRecord* merged() { return m_merged.data(); }

private:
    struct Chosen {
        double range = 0;              // of the merged record, metres
        RangeInterval interval{0, 0};  // of the block it came from
    };

    bool replaces(const Chosen& chosen, double range, const RangeInterval& interval) const;

    const RangeTable& m_table;
    std::vector<RawRecord> m_merged;
    std::vector<Chosen> m_chosen;
};

}  // namespace brisko
