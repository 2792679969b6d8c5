#pragma once

#include "base/worker_pool.h"
#include "simulator/scan_plan.h"
#include "simulator/scanner.h"

#include <brisko_codec/alignment.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

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

/// What was written into a file.
struct WrittenScan {
    std::uint64_t returns = 0;  // measured cells, counted in every block
    std::uint64_t bytes = 0;    // of the scan file itself
    AlignmentBox box;           // around all returns, metres, scanner frame

    void include(const std::vector<Measurement>& cells);
    void include(const WrittenScan& other);
};

/// Takes how many cells of the file have been written. Throws ScanError(Cancelled) to end the work.
using ReportCells = std::function<void(std::uint64_t)>;

/// Write one file of a plan under its staged name. Throw ScanError(NotWritten) when that fails.
///   path  the file's final name, for messages
WrittenScan writeCLR(const ScanPlan& plan, const Scanner& scanner, std::uint32_t file,
                     const scan::StagedScan& staged, const std::string& path,
                     const ReportCells& report);
WrittenScan writeCL3(const ScanPlan& plan, const Scanner& scanner, const scan::StagedScan& staged,
                     const std::string& path, const ReportCells& report);
WrittenScan writeIndexedCL3(const ScanPlan& plan, const Scanner& scanner, const Pose& pose,
                            const scan::StagedScan& staged, const std::string& path,
                            const ReportCells& report);

/// Throws ScanError(NotWritten) with the system's reason unless it was.
void requireWritten(bool written, const std::string& path);
/// Throws ScanError(NotWritten) unless the file under its staged name has this length.
void requireLength(const std::string& stagedPath, std::uint64_t length, const std::string& path);

}  // namespace brisko::simulator
