#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/findings.h>
#include <brisko_scan/formats.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// What reading a scan to its last byte has shown.
struct ScanCheck {
    std::string path;
    const Format* format = nullptr;
    std::uint64_t blocks = 0;   // that are whole; a PTX scan has none
    std::uint64_t records = 0;  // that are there; in a PTX scan: cells
    std::uint64_t points = 0;   // among them
    StationPhotos photos;       // beside it
    /// Of a scan whose cells are its records; else 0 x 0.
    std::uint32_t columns = 0, rows = 0;
    Findings findings;
    /// What is no damage, but the user may want to know.
    std::vector<std::string> notes;

    explicit ScanCheck(std::size_t most) : findings(most) {}
};

/// Checks a scan with its companions and the photos beside it. `most` findings of a kind are kept.
/// Throws ScanError only when a file cannot be read at all (Damaged), or Cancelled.
BRISKO_SCAN_EXPORT ScanCheck checkScan(const std::string& path, std::size_t most,
                                       const ProgressFunction& progress = {});

}  // namespace brisko::scan
