#pragma once

#include <brisko_scan/convert.h>
#include <brisko_scan/export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

struct MergeOptions {
    /// Files, folders (all scans that lie directly in them, by name), or patterns with * and ? where no
    /// file has that name. A file with several scans gives all of them.
    std::vector<std::string> inputs;
    /// One aligned cloud, also in a format that holds several scans.
    bool align = false;
    /// The output, and what is to be done with each scan; columns and rows are cut from each. Its input,
    /// scan and plain do not count.
    ConvertOptions each;
};

/// A scan that went into a merged file.
struct MergedScan {
    std::string input;
    std::string scan;  // of an input with several: its name where no other has it, else its number
    std::string name;  // of the station in the output; no two have the same
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;  // of them, other than black
    std::uint32_t columns = 0;   // 0 x 0 where its points are a part of a cloud
    std::uint32_t rows = 0;
    LeftOut leftOut;
};

struct MergeResult {
    std::vector<MergedScan> scans;  // in the order of the inputs
    bool isCloud = false;           // one aligned cloud
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;
    std::uint64_t bytes = 0;  // of the output
};

/// Writes the scans of all inputs into one file. Formats that hold several scans (.e57, .ptx) keep each in
/// its own frame, with its pose, grid and name; others get one cloud in the aligned frame, where columns
/// and rows stay numbers of the points as far as the format has them.
/// The output appears when all scans are in it, or not at all: one input that fails is a failure.
/// Throws ScanError: Request also for a format that is neither, and for an output that is an input.
BRISKO_SCAN_EXPORT MergeResult mergeScans(const MergeOptions& options);

}  // namespace brisko::scan
