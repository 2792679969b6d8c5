#pragma once

#include "layouts/output_limit.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/file_header.h>
#include <brisko_scan/repair.h>

#include <functional>

namespace brisko::scan {

// One of each, in files of their own.
Salvage repairCL3(const RepairOptions& options);
Salvage repairCLR(const RepairOptions& options);

/// Whether an output of so many bytes stands in a proportion to an input (layouts/output_limit.h): a
/// damaged header can claim a grid of any size.
inline bool isInProportion(unsigned __int128 output, std::uint64_t input) {
    return output <= largestOutputFor(input);
}

/// Throws ScanError(Damaged) for an input of which nothing can be salvaged.
[[noreturn]] void refuseInput(const RepairOptions& options, const std::string& what);
[[noreturn]] void refuseFormat(const RepairOptions& options, std::uint64_t offset,
                               const CLFileHeader& header, const std::string& known);
void requireWholeHeader(const RepairOptions& options, std::uint64_t fileSize,
                        std::uint64_t headerSize);

/// Lets `write` fill an output that appears only when reading it back shows what was salvaged, and
/// counts its blocks. The output has the input's alignment; one that cannot be used is reported as lost,
/// and the points stay in the scanner's frame. Angles of the header that are not numbers become 0.
/// Throws ScanError(Damaged) when there was nothing to salvage, and ScanError(NotWritten) when the output
/// holds something else.
void writeRepaired(const RepairOptions& options, Salvage& salvage, CLFileHeader& header,
                   const std::function<void(OutputTarget&)>& write);

}  // namespace brisko::scan
