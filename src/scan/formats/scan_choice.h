#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace brisko::scan {

/// The scan of a file that a reader asks for: by number from 1, or by name where no number is meant.
/// Returns its place among the names, from 0.
/// Throws ScanError(Request) for a file without scans, for none or several that fit the choice, and for
/// no choice where there are several.
std::size_t chooseScan(const std::string& path, const std::vector<std::string>& names,
                       const std::string& choice);

}  // namespace brisko::scan
