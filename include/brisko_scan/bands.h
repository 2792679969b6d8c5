#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// Part of a scan that one job works on: whole tiles of 256 columns.
struct Band {
    std::uint32_t first = 0, end = 0;  // columns of the scan, `end` not included
    std::string output;                // what the job writes, an indexed .cl3
    /// Whether the output is there: sound, younger than the scan, with the grid, angles and alignment of
    /// this band.
    bool isDone = false;
};

struct BandPlan {
    std::string input;
    std::uint32_t columns = 0, rows = 0;  // of the scan
    std::vector<Band> bands;              // in the order of their columns
};

/// Divides a scan into jobs of about the same number of columns, which can run side by side and on several
/// machines: converting or colouring with the columns of a band makes its output. Reads no points.
///   bands   at least 1; there are never more than columns of tiles
///   folder  of the outputs; empty: that of the scan
/// Throws ScanError: Request for a scan that is neither a raw nor an indexed CL3 one, Damaged.
BRISKO_SCAN_EXPORT BandPlan planBands(const std::string& input, std::uint32_t bands,
                                      const std::string& folder = {});

struct JoinOptions {
    std::vector<std::string> inputs;  // indexed .cl3, in the order of their columns
    std::string output;               // .cl3
    bool overwrite = false;
    ProgressFunction progress;
};

struct JoinResult {
    std::uint64_t points = 0;
    std::uint32_t columns = 0, rows = 0;
    std::uint64_t bytes = 0;  // of the output
};

/// Puts bands of one scan together: the blocks and tiles of each after those of the one before, under one
/// header, with one alignment. The output has the bytes that one run over the whole scan makes, and appears
/// when it is complete and was read back. Bands know their place by their azimuths: each begins at the angle
/// where the one before ends; all but the last have whole tiles. Memory does not grow with the scan.
/// Throws ScanError: Request where two bands do not fit together, and names both; Damaged; NotWritten;
/// Cancelled.
BRISKO_SCAN_EXPORT JoinResult joinBands(const JoinOptions& options);

}  // namespace brisko::scan
