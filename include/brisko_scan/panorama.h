#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// What a pixel shows.
enum class PictureMode {
    Shaded,  // the form of surfaces, as if a lamp stood at the scanner; edges and grooves are dark
    Range,   // distance from the scanner, metres, on a logarithmic scale; shaded
    Intensity,  // as the scan has it
    Colour,     // as the scan has it
    Normals,    // directions of surfaces: red, green and blue are x, y and z from -1 to 1
    Height,     // metres, in the aligned frame; shaded
    Incidence,  // angle between the beam and the surface's normal, degrees
};

/// How values become colours, from low to high. Automatic: turbo for ranges, viridis for heights and
/// angles, grey for intensities.
enum class ColourMap { Automatic, Grey, Turbo, Viridis };

enum class Projection {
    Grid,             // the scan's cells, as wide and high as their angles say
    Equirectangular,  // the whole sphere, 360 by 180 degrees; +x lies in the middle
    Cylindrical,      // upright lines stay straight; 360 degrees by -60 to +60 degrees of elevation
    Cube,             // six faces of 90 degrees: front (+x), right, back; left, up, down
};

using PictureColour = std::array<std::uint8_t, 3>;  // red, green, blue

struct PanoramaOptions {
    std::string input;   // a scan with a grid
    std::string scan;    // which one of a file with several: its number or name
    std::string output;  // .png, or .tif with the angles of its pixels as coordinates
    PictureMode mode = PictureMode::Shaded;
    ColourMap map = ColourMap::Automatic;
    Projection projection = Projection::Grid;
    std::uint32_t width = 0;   // pixels; 0: by the grid
    std::uint32_t height = 0;  // pixels; 0: by the angles of the scan, or by the projection
    /// The exponent that shares of the scale are raised to: below 1 brightens. 0: of intensities by
    /// their median, and of colours where these are dark; else 1.
    double gamma = 0;
    /// The ends of the scale; where they are not given, those that leave out a hundredth on either side.
    std::optional<double> low = {}, high = {};
    PictureColour missing = {200, 200, 200};  // of cells without a point
    bool legend = false;                      // a strip below: scale, directions, the scan's name
    bool is16Bit = false;                     // samples of 16 bits rather than 8
    bool overwrite = false;
    ProgressFunction progress = {};
    WarningFunction warning = {};
};

/// What the ends of the colour map stand for.
struct PictureScale {
    float low = 0;  // metres, degrees or intensity
    float high = 0;
    double gamma = 1;
    bool isEmpty = true;  // no pixel shows anything
};

struct PanoramaResult {
    std::uint32_t width = 0;  // pixels
    std::uint32_t height = 0;
    std::uint64_t bytes = 0;  // of the picture
    PictureScale scale;
};

/// Draws a scan as a picture, upright and as seen from the scanner: left to right is clockwise seen
/// from above, however the scan's columns and rows run. A picture has at most 16 pixels for a cell of
/// the scan, or 4 million, and 67 million in all.
/// Throws ScanError; then no picture appears.
BRISKO_SCAN_EXPORT PanoramaResult drawPanorama(const PanoramaOptions& options);

/// The same picture in memory; of the options, output, overwrite, is16Bit and warning do not count.
///   pixels  replaced by red, green and blue of each pixel, row by row from the top
/// Throws ScanError.
BRISKO_SCAN_EXPORT PanoramaResult paintPanorama(const PanoramaOptions& options,
                                                std::vector<std::uint8_t>& pixels);

/// Several scans on one sheet, each with its name below; those that cannot be drawn show why instead.
struct ContactSheetOptions {
    /// Files of any format (each of their scans is drawn), folders, or patterns with * and ?.
    std::vector<std::string> inputs;
    std::string output;          // .png
    PanoramaOptions picture;     // mode, map, gamma and missing of each; of the rest nothing counts
    std::uint32_t across = 0;    // pictures side by side; 0: by their number
    std::uint32_t width = 2400;  // pixels of the sheet
    bool overwrite = false;
    ProgressFunction progress = {};
    WarningFunction warning = {};
};

struct ContactSheetResult {
    std::uint32_t width = 0, height = 0;  // pixels
    std::uint64_t bytes = 0;
    std::size_t drawn = 0;            // scans
    std::vector<std::string> failed;  // "name: why"
};

/// Throws ScanError where the sheet cannot be written, or no scan can be drawn.
BRISKO_SCAN_EXPORT ContactSheetResult drawContactSheet(const ContactSheetOptions& options);

}  // namespace brisko::scan
