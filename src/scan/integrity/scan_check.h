#pragma once

#include <brisko_scan/check.h>

namespace brisko::scan {

/// The same as checkScan, without the photos.
ScanCheck checkFiles(const std::string& path, std::size_t most, const ProgressFunction& progress);

/// Reads a damaged native scan again and throws ScanError(Damaged) with the first damage that shows, or
/// with `otherwise` where none does.
[[noreturn]] void failDamaged(const std::string& path, const std::string& otherwise);

// One of each, in files of their own.
void checkCL3Scan(ScanCheck& check, const ProgressFunction& progress);
void checkCLRScan(ScanCheck& check, const ProgressFunction& progress);
void checkPtxScan(ScanCheck& check, const ProgressFunction& progress);
void checkE57Scan(ScanCheck& check, const ProgressFunction& progress);
/// Formats of which conversions notice all that can be damaged.
void checkByReading(ScanCheck& check, const ProgressFunction& progress);

}  // namespace brisko::scan
