#pragma once

#include <string>
#include <vector>

namespace brisko::scan {

/// The files that an input of a command names: itself, the scans that lie directly in a folder, by name,
/// or those that fit a pattern with * and ? where no file has that name.
std::vector<std::string> filesOf(const std::string& input);

/// What chooses each scan of a file, one after the other: its name where no other scan has it, else its
/// number. One empty text for a file of a single scan.
/// Throws ScanError: Request also where a scan without a name of its own has a number that is another's name.
std::vector<std::string> scanChoicesOf(const std::string& path);

}  // namespace brisko::scan
