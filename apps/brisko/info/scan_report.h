#pragma once

#include "common/progress.h"
#include "scan/photo_report.h"
#include "scan/scan_layout.h"

#include <brisko_codec/alignment.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::tool {

/// What a full pass over the points finds.
struct PointSummary {
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;  // other than black
    // Without any point there is nothing below to look at.
    double min[3] = {0, 0, 0};  // metres, aligned frame
    double max[3] = {0, 0, 0};
    float minIntensity = 0;
    float maxIntensity = 0;
};

/// Everything that `info` reports about a scan.
struct ScanReport {
    std::string path;
    ScanKind kind = ScanKind::CL3;
    std::uint64_t bytes = 0;
    std::unique_ptr<CLFileHeader> header;  // null for PTX
    bool hasGrid = false;
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::optional<IndexLayout> index;
    Alignment alignment;
    std::uint64_t records = 0;  // native scans: with and without a point
    bool hasColour = false;     // a place for it
    StationPhotos photos;       // beside a native scan
    std::vector<std::string> problems;
    std::optional<PointSummary> summary;
};

/// Looks at a scan without reading its points. A scan that is damaged is described as far as it can
/// be, with its problems. Throws Failure when there is nothing to describe.
ScanReport describeScan(const std::string& path);

/// Reads all points; `task` says what the progress is of. Throws Failure(Damaged), Interrupted.
PointSummary summarizePoints(const std::string& path, const ProgressTask& task,
                             ProgressStyle progress);

}  // namespace brisko::tool
