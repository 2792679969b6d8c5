#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

enum class PictureMode { Range, Intensity, Colour };

struct PanoramaOptions {
    std::string input;   // a scan with a grid
    std::string output;  // .png
    PictureMode mode = PictureMode::Range;
    std::uint32_t width = 0;   // pixels; 0: by the grid
    std::uint32_t height = 0;  // pixels; 0: by the angles of the scan
    bool overwrite = false;
    ProgressFunction progress;
    WarningFunction warning;
};

/// What the darkest and the brightest grey stand for.
struct PictureScale {
    float low = 0;  // metres or intensity
    float high = 0;
    bool isEmpty = true;  // no pixel shows anything
};

struct PanoramaResult {
    std::uint32_t width = 0;  // pixels
    std::uint32_t height = 0;
    std::uint64_t bytes = 0;  // of the picture
    PictureScale scale;
};

/// Draws a scan as a PNG picture, upright and as seen from the scanner: left to right is clockwise seen
/// from above, however the scan's columns and rows run. Cells without a point are dark blue. A picture
/// has at most 16 pixels for a cell of the scan, or 4 million, and 67 million in all.
/// Throws ScanError; then no picture appears.
BRISKO_SCAN_EXPORT PanoramaResult drawPanorama(const PanoramaOptions& options);

/// The same picture in memory; of the options, output, overwrite and warning do not count.
///   pixels  replaced by red, green and blue of each pixel, row by row from the top
/// Throws ScanError.
BRISKO_SCAN_EXPORT PanoramaResult paintPanorama(const PanoramaOptions& options,
                                                std::vector<std::uint8_t>& pixels);

}  // namespace brisko::scan
