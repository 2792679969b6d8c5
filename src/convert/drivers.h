#pragma once

#include <brisko_codec/progress.h>

#include "convert/conversion_report.h"

#include <string>

/// The drivers of the processing library, connected to a host's tracker (which may be null) under
/// their labels. Outputs are staged; each answers whether all went well, and
/// reports why not.
namespace brisko {

/// Indexes a CL3 scan with the cells of the raw scan it was made from.
bool runIndexing(const std::string& input, const std::string& rawScan, const std::string& output,
                 vexo::ProgressTracker* tracker, ConversionReport& report);

/// Indexes a CL3 scan anew with the cells of its index.
bool runIndexing2(const std::string& input, const std::string& output,
                  vexo::ProgressTracker* tracker, ConversionReport& report);

/// Indexes a CL3 scan by the angles of its points.
bool runIndexingByAngles(const std::string& input, const std::string& output,
                         vexo::ProgressTracker* tracker, ConversionReport& report);

/// Writes a copy of a CLR scan with its lines sorted beside it.
bool runSortClr(const std::string& input, vexo::ProgressTracker* tracker, ConversionReport& report);

/// Merges two CLR scans of one series.
bool runMerge(const std::string& first, const std::string& second, const std::string& output,
              vexo::ProgressTracker* tracker, ConversionReport& report);

}  // namespace brisko
