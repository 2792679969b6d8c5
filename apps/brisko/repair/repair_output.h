#pragma once

#include "repair/salvage.h"

#include <brisko_codec/file_header.h>

namespace brisko::tool {

/// The matrix of the input's alignment file. One that is there and cannot be used is told as lost,
/// and the points stay in the scanner's frame.
void readAlignmentOf(const RepairOptions& options, Salvage& salvage, double (&matrix)[16]);

/// Gives angles that are not numbers a value, 0, and tells so.
void mendAngles(const RepairOptions& options, Salvage& salvage, CLFileHeader& header);

/// Throws Failure(Damaged) when there was nothing to salvage, and Failure(NotWritten) when reading
/// the output shows something else than what was salvaged. Counts the output's blocks.
///   staged  where the output was written
void verifyRepaired(const RepairOptions& options, const std::string& staged, Salvage& salvage);

}  // namespace brisko::tool
