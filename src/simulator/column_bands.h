#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <thread>
#include <type_traits>

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
    using Result = std::invoke_result_t<const Compute&, ColumnBand>;
    struct Running {
        ColumnBand band;
        std::future<Result> result;
    };
    const std::size_t ahead = std::max(1u, std::thread::hardware_concurrency()) + 1;
    std::deque<Running> running;  // its destructor waits for computations that are under way
    std::uint32_t next = 0;
    while (next < columns || !running.empty()) {
        while (next < columns && running.size() < ahead) {
            const ColumnBand band{next, next + std::min(bandColumns, columns - next)};
            // Where no thread can be had the computation runs when its result is asked for.
            running.push_back({band, std::async(std::launch::async | std::launch::deferred,
                                                std::cref(compute), band)});
            next = band.end;
        }
        Result result = running.front().result.get();
        const ColumnBand band = running.front().band;
        running.pop_front();
        take(band, result);
    }
}

}  // namespace brisko::simulator
