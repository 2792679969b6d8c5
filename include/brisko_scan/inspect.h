#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_scan/export.h>
#include <brisko_scan/formats.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brisko::scan {

/// What scan.ij says of itself.
struct IndexLayout {
    std::string path;
    std::uint64_t bytes = 0;
    std::uint32_t tiles = 0;
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::uint32_t tileSize = 0;
    std::uint64_t points = 0;  // sum over the tiles
};

/// How the values of all points spread. The three percentiles are within 1 % of a value that is there.
struct ValueSpread {
    double min = 0, max = 0, mean = 0;
    double percentile5 = 0, median = 0, percentile95 = 0;
};

/// What a full pass over the points finds.
struct PointSummary {
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;  // other than black
    // Without any point there is nothing below to look at.
    double min[3] = {0, 0, 0};  // metres, aligned frame
    double max[3] = {0, 0, 0};
    float minIntensity = 0;
    float maxIntensity = 0;
    ValueSpread range;  // metres from the scanner; without a pose from the origin
    ValueSpread intensity;
    std::uint64_t cells = 0;  // of the grid; 0 without one
    double columnStep = 0;    // degrees from a column to the next one; 0 where it is not known
    double rowStep = 0;
};

/// One scan of a file that may hold several.
struct ScanEntry {
    std::string name;           // may be empty, and need not be the only one of its kind
    std::uint64_t records = 0;  // with and without a point
    bool hasGrid = false;
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    Alignment alignment;
    bool hasColour = false;  // a place for it
    std::optional<PointSummary> summary;
};

/// Everything that `info` reports about a scan.
struct ScanReport {
    std::string path;
    const Format* format = nullptr;
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
    /// Of a file that may hold several; what is said above is the first's.
    std::vector<ScanEntry> scans;
    /// What else the format has to say: "page size" and "1024 bytes".
    std::vector<std::pair<std::string, std::string>> details;
    std::vector<std::string> problems;
    std::optional<PointSummary> summary;
};

/// Looks at a scan without reading its points. A scan that is damaged is described as far as it can
/// be, with its problems. Throws ScanError when there is nothing to describe.
BRISKO_SCAN_EXPORT ScanReport describeScan(const std::string& path);

/// Reads all points. Throws ScanError(Damaged) or Cancelled.
BRISKO_SCAN_EXPORT PointSummary summarizePoints(const std::string& path,
                                                const ProgressFunction& progress = {});
/// The same of one scan of a file with several: its number, from 1, or its name.
/// Throws ScanError(Request), too.
BRISKO_SCAN_EXPORT PointSummary summarizePoints(const std::string& path, const std::string& scan,
                                                const ProgressFunction& progress);

}  // namespace brisko::scan
