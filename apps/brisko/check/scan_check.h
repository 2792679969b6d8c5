#pragma once

#include "common/progress.h"
#include "scan/findings.h"
#include "scan/photo_report.h"
#include "scan/scan_kind.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// What reading a scan to its last byte has shown.
struct ScanCheck {
    std::string path;
    ScanKind kind = ScanKind::CL3;
    ProgressTask task = "check";
    std::uint64_t blocks = 0;   // that are whole; a PTX scan has none
    std::uint64_t records = 0;  // that are there; in a PTX scan: cells
    std::uint64_t points = 0;   // among them
    StationPhotos photos;       // beside it
    struct {
        std::uint32_t columns = 0;
        std::uint32_t rows = 0;
    } grid;  // of a PTX scan
    Findings findings;
    /// What is no damage, but the user may want to know.
    std::vector<std::string> notes;

    explicit ScanCheck(std::size_t most) : findings(most) {}
};

/// Checks a scan with its companions. `most` findings of a kind are kept.
/// Throws Failure only when a file cannot be read at all.
ScanCheck checkFiles(const std::string& path, std::size_t most, ProgressStyle style,
                     const ProgressTask& task = "check");

/// The same, and the photos beside the scan.
ScanCheck checkScan(const std::string& path, std::size_t most, ProgressStyle style,
                    const ProgressTask& task = "check");

/// Reads a damaged native scan again and throws Failure(Damaged) with the first damage that shows, or
/// with `otherwise` where none does.
[[noreturn]] void failDamaged(const std::string& path, const std::string& otherwise);

// One of each, in files of their own.
void checkCL3Scan(ScanCheck& check, ProgressStyle style);
void checkCLRScan(ScanCheck& check, ProgressStyle style);
void checkPtxScan(ScanCheck& check, ProgressStyle style);

/// Checks the photos beside a scan, to their last pixel, and their calibration.
void checkPhotos(ScanCheck& check);

}  // namespace brisko::tool
