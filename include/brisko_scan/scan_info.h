#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_scan/formats.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace brisko::scan {

/// Intensities in the scale of a file.
struct IntensityRange {
    double min = 0;
    double max = 1;
};

/// Columns, or rows, from `first` up to, not including, `end`; without an end: up to the last.
struct GridRange {
    std::uint32_t first = 0;
    std::optional<std::uint32_t> end;
};

/// What is known of a scan before its points are read.
struct ScanInfo {
    std::string path;
    std::string name;  // of the station; empty where the format has none
    std::string guid;  // its name among all scans of the world; empty where the format has none
    const Format* format = nullptr;
    /// The grid. Not known of a CL3 scan without index.
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    bool hasGrid = false;
    /// Points come ordered by bands of so many columns; 1: column by column, as many as the grid has: in
    /// any order.
    std::uint32_t bandColumns = 1;
    /// From the scanner's frame to the aligned one.
    Alignment alignment;
    /// Common fields and angles; null where the format has none.
    std::shared_ptr<const CLFileHeader> header;
    /// Whether the points have a place for colours, even if they are all black.
    bool storesColour = false;
    /// Whether these are there for sure, without a look at the points.
    bool isColoured = false;
    /// Records of the files; 0 where they are not counted.
    std::uint64_t records = 0;
    /// Whether each record should hold a point; else empty cells are records, too.
    bool recordsArePoints = false;
};

}  // namespace brisko::scan
