#pragma once

#include "base/output_limit.h"
#include "common/progress.h"
#include "scan/findings.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

struct RepairOptions {
    std::string input;
    std::string output;
    bool overwrite = false;
    bool plain = false;     // leave the index aside
    std::size_t most = 20;  // losses of a kind that are listed
    ProgressStyle progress = ProgressStyle::Auto;
};

/// What came out of a damaged scan, and what did not.
struct Salvage {
    std::uint64_t points = 0;
    std::uint64_t blocks = 0;  // of the output
    std::uint32_t columns = 0, rows = 0;
    std::uint64_t lostCells = 0;  // that the index or the grid promised, and have no point now
    std::uint64_t lostRecords =
        0;  // that announced blocks should have had, or that hold no numbers
    Findings losses;

    explicit Salvage(std::size_t most) : losses(most) {}
};

/// Writes what can be read of a damaged scan as a new complete one. The input is never touched.
/// Throws Failure(Damaged) when nothing can be salvaged, and then no output appears.
Salvage repairCL3(const RepairOptions& options);
Salvage repairCLR(const RepairOptions& options);

/// Whether an output of so many bytes stands in a proportion to an input (base/output_limit.h): a
/// damaged header can claim a grid of any size.
inline bool isInProportion(unsigned __int128 output, std::uint64_t input) {
    return output <= largestOutputFor(input);
}

}  // namespace brisko::tool
