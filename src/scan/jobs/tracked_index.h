#pragma once

#include <brisko_scan/index.h>

namespace brisko::scan {

/// Lets the library's conversion find the cells of a scan by the angles of its points.
///   reach  hears how much of it is done, 0 to 1; throws to end it. Called by two threads, one at a time.
/// Throws what `reach` throws, and ScanError(Damaged) where the conversion fails.
void indexByAngles(const IndexTask& task, const std::string& output,
                   const std::function<void(double share)>& reach);

}  // namespace brisko::scan
