#pragma once

#include <brisko_scan/repair.h>

#include "base/output_limit.h"

namespace brisko::scan {

// One of each, in files of their own.
Salvage repairCL3(const RepairOptions& options);
Salvage repairCLR(const RepairOptions& options);

/// Whether an output of so many bytes stands in a proportion to an input (base/output_limit.h): a
/// damaged header can claim a grid of any size.
inline bool isInProportion(unsigned __int128 output, std::uint64_t input) {
    return output <= largestOutputFor(input);
}

}  // namespace brisko::scan
