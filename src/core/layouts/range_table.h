#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

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

}  // namespace brisko
