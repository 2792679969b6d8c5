#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_info.h>

#include <cstdint>
#include <optional>
#include <string>

namespace brisko::scan {

/// A box in the aligned frame, metres; its faces belong to it. Infinite sides are open.
struct Box {
    double min[3];
    double max[3];
};

struct ConvertOptions {
    std::string input;   // any format that is read, UTF-8
    std::string output;  // its extension chooses the format
    bool overwrite = false;
    bool plain = false;  // write .cl3 without an index
    /// One scan of an input with several: number from 1, or name; "all": each becomes a scan of an output
    /// that holds several.
    std::string scan;
    std::optional<IntensityRange> intensities;  // of the input that become 0 and 2200
    double precision = 0;  // metres; of formats that may round coordinates: 0 for exact ones
    /// Of formats with several: "1.2" or "1.4" of .las; empty: the usual one.
    std::string formVersion;
    bool applyAlignment = false;  // move the points into the aligned frame
    bool withoutPhotos = false;  // do not store the photos beside the input, where that is possible
    bool validOnly = false;      // without points at the scanner's own place
    std::optional<double> minDistance, maxDistance;    // metres from the scanner
    std::optional<IntensityRange> intensitiesBetween;  // 0 to 2200; both ends belong to it
    std::optional<Box> box;
    std::optional<GridRange> columns, rows;  // they become the whole grid
    /// Degrees; above 0: gives an input without a grid one, of cells of this step around the scanner's
    /// place, the origin of its frame. Columns turn clockwise seen from above, rows go down. Of the points
    /// in a cell the nearest stays.
    double gridStep = 0;
    /// Of a grid (of its part) every n-th column and row, which become the grid; of other inputs every
    /// n-th point. The first stays.
    std::uint32_t every = 1;
    /// Metres; above 0: of the points in each cube of this size, in the output's frame, the first one
    /// stays.
    double voxel = 0;
    /// Takes the place of the input's; it comes before everything else.
    std::optional<Alignment> alignment;
    std::string alignmentOutput;  // a matrix file to write the scan's alignment into; empty: none
    ProgressFunction progress;
    WarningFunction warning;
    bool hideOccluded = false;  // of colourScan: photos leave out points that they cannot see
};

/// Why points could not be stored.
struct LeftOut {
    std::uint64_t outsideGrid = 0;  // in the padding of the last tiles
    std::uint64_t notFinite = 0;    // a coordinate is not a number
    std::uint64_t atScanner = 0;    // would read as an empty cell
};

/// What came of a conversion.
struct ConvertResult {
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;  // of them, other than black; 0 where the output has no colours
    std::uint32_t columns = 0;   // 0 x 0 where the output has no grid
    std::uint32_t rows = 0;
    std::uint64_t bytes = 0;  // of the output
    LeftOut leftOut;
};

/// Converts a scan. The output appears when it is complete and was read back, or not at all.
/// Throws ScanError.
BRISKO_SCAN_EXPORT ConvertResult convertScan(const ConvertOptions& options);

/// The same for a native scan, with the points coloured from the photos beside it.
///   photos  what became of each
/// Throws ScanError also where no photo can be used (Request) or one is damaged (Damaged).
BRISKO_SCAN_EXPORT ConvertResult colourScan(const ConvertOptions& options, StationPhotos& photos);

}  // namespace brisko::scan
