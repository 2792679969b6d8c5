#pragma once

#include "base/worker_pool.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace brisko::simulator {

/// Columns first up to (not including) end.
struct ColumnBand {
    std::uint32_t first = 0;
    std::uint32_t end = 0;
};

/// Bands of about 65,000 cells: work enough for a thread, and a small part of memory.
inline std::uint32_t columnsOfBand(std::uint32_t rows) {
    return std::max(1u, 65536u / std::max(1u, rows));
}

/// Computes the bands of a grid on all cores and takes the results in order on the calling thread.
/// Only a few bands are kept at a time. An exception of either function ends the walk once the
/// running computations are through.
///   compute  Result(ColumnBand), called from any thread
///   take     void(ColumnBand, Result&)
template <class Compute, class Take>
void forEachBand(std::uint32_t columns, std::uint32_t bandColumns, const Compute& compute,
                 const Take& take) {
    const auto band = [=](std::size_t number) {
        const auto first = static_cast<std::uint32_t>(number * bandColumns);
        return ColumnBand{first, first + std::min(bandColumns, columns - first)};
    };
    const std::size_t bands = (std::size_t{columns} + bandColumns - 1) / bandColumns;
    collectResults(
        bands, processorCount(), ResultOrder::Index,
        [&](std::size_t number) { return compute(band(number)); },
        [&](std::size_t number, auto& result) { take(band(number), result); });
}

}  // namespace brisko::simulator
