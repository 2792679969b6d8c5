#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/staged_scan.h>

#include "simulator/scan_plan.h"
#include "simulator/scanner.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::simulator {

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
