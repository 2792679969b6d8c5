#pragma once

#include <brisko_codec/progress.h>

#include "convert/conversion_report.h"

#include <string>

namespace brisko {

/// Converts a CLR scan into a CL3 scan: an indexed one where the output's base is an index base, so
/// that every file named "_index" has its index, and a plain one otherwise. Points are carried in the
/// scanner's frame; the alignment goes along as a matrix.
///   aligned  the scan whose alignment file counts: the input, or the first of the series that the
///            input was merged from
/// Returns: false unless the whole scan was written and put in place; the report then says why.
bool convertClrToCl3(const std::string& input, const std::string& aligned,
                     const std::string& output, vexo::ProgressTracker* tracker,
                     ConversionReport& report);

/// The same, always indexed, under its own label.
bool convertClrToCl3Ij(const std::string& input, const std::string& aligned,
                       const std::string& output, vexo::ProgressTracker* tracker,
                       ConversionReport& report);

}  // namespace brisko
