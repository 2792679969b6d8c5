#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

struct ViewOptions {
    /// Files, folders (all scans that lie directly in them, by name), or patterns with * and ? where no
    /// file has that name. A file with several scans gives all of them.
    std::vector<std::string> inputs;
    std::string output;                // .html
    std::string title = {};            // of the page; empty: the name of the first scan
    std::uint64_t points = 2'000'000;  // in the page at most, of all scans; up to kMostViewPoints
    /// The page offers to open the files of indexed CL3 scans for all of their points.
    bool full = false;
    /// The page shows no photos of the stations.
    bool withoutPhotos = false;
    bool overwrite = false;
    ProgressFunction progress;
    WarningFunction warning;
};

inline constexpr std::uint64_t kFewestViewPoints = 1'000;
inline constexpr std::uint64_t kMostViewPoints = 10'000'000;

/// A scan as the page shows it.
struct ViewedScan {
    std::string input;
    std::string scan;  // of an input with several: its name where no other has it, else its number
    std::string name;  // in the page; no two have the same
    std::uint64_t points = 0;   // in the page
    std::uint64_t read = 0;     // of the scan
    std::uint64_t leftOut = 0;  // of the scan: not finite, or too far to be placed
    std::uint32_t columns = 0;  // of the page's grid; 0 x 0 for a cloud
    std::uint32_t rows = 0;
};

struct ViewResult {
    std::vector<ViewedScan> scans;
    std::uint64_t points = 0;  // in the page
    std::uint64_t bytes = 0;   // of the page
    std::uint64_t photos = 0;  // in the page
};

/// Writes one HTML file that shows scans in any browser, without a network: the page itself and a
/// thinned copy of the points. Scans with a grid keep an even part of their columns and rows, clouds
/// an even part of their points; all are shown in the aligned frame.
/// Precision of a point in the page: 0.125 mm along the ray and 6 microradians in each angle, so 0.3 mm
/// at 20 m; of a cloud 0.125 mm in each axis. Intensities are whole numbers.
/// Photos of the stations (beside native scans, inside E57 files) whose cameras are known go with them,
/// small: at most 150 kB each, 6 MB and 400 photos together. One that cannot be decoded is left out with
/// a warning.
/// Memory: some 50 bytes for a point of the page, however large the scans are.
/// Throws ScanError; then no page appears.
BRISKO_SCAN_EXPORT ViewResult writeView(const ViewOptions& options);

}  // namespace brisko::scan
