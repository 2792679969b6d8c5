#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/findings.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>

namespace brisko::scan {

struct RepairOptions {
    std::string input;   // .cl3 or .clr, UTF-8
    std::string output;  // of the same format
    bool overwrite = false;
    bool plain = false;     // leave the index aside
    std::size_t most = 20;  // losses of a kind that are listed
    ProgressFunction progress;
};

/// What came out of a damaged scan, and what did not.
struct Salvage {
    std::uint64_t points = 0;
    std::uint64_t blocks = 0;             // of the output
    std::uint32_t columns = 0, rows = 0;  // 0 x 0 where the output has no grid
    std::uint64_t bytes = 0;              // of the output
    std::uint64_t lostCells = 0;          // that the index or the grid promised
    std::uint64_t lostRecords = 0;  // that announced blocks should have had, or without numbers
    Findings losses;

    explicit Salvage(std::size_t most) : losses(most) {}
};

/// Writes what can be read of a damaged scan as a new complete one. The input is never touched. The one
/// place in the library that goes on after damage.
/// Throws ScanError: Damaged when nothing can be salvaged, Request for names that make no sense,
/// NotWritten, Cancelled; then no output appears.
BRISKO_SCAN_EXPORT Salvage repairScan(const RepairOptions& options);

}  // namespace brisko::scan
