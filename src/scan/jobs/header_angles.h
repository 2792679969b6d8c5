#pragma once

#include "scan/formats/angle_estimate.h"
#include "scan/formats/scan_input.h"
#include "scan/formats/scan_output.h"
#include "scan/jobs/grid_part.h"

#include <brisko_codec/file_header.h>

#include <string>

namespace brisko::scan {

/// The header of an output: texts, readings and angles of the input, cut to a part of the grid, with
/// its size. An input without a header gives an empty one.
CLRFileHeader outputHeader(const ScanInfo& input, const GridPart& part);

/// Puts angles found in the points into a header: start, and stop = start + count * step, so that
/// the span divided by the count is the step.
void setAngles(CLFileHeader& header, const AngleEstimate& estimate, const GridPart& part);

/// Puts such angles into a completed native file. Throws ScanError(NotWritten).
void patchAngles(const OutputTarget& target, const AngleEstimate& estimate, const GridPart& part);

/// Gives a completed CL3 file the angular steps of the scan that it was made from: a header stores them
/// beside the angles, and they need not be the span divided by the columns.
void patchSteps(const OutputTarget& target, const CLFileHeader& input);

}  // namespace brisko::scan
