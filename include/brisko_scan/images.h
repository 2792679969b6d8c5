#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// A picture inside the file of a scan.
struct EmbeddedImage {
    std::string name;            // as the file has it; may be empty
    std::string representation;  // "pinhole", "spherical", "cylindrical" or "visualReference"
    std::string fileName;  // a name for a file of its own: "2_Front.jpg"; no two have the same
    std::uint64_t bytes = 0;
};

/// The pictures inside a file. (Photos of native scans lie beside them: photos.h.)
/// Throws ScanError: Request for a format that holds none, Damaged.
BRISKO_SCAN_EXPORT std::vector<EmbeddedImage> imagesIn(const std::string& path);

/// Writes each picture into a folder that is there, under its fileName, with the bytes that the file has.
/// A picture appears complete or not at all.
/// Returns: the paths, in the order of imagesIn.
/// Throws ScanError: as above, and NotWritten, also for a file that is there and may not be replaced.
BRISKO_SCAN_EXPORT std::vector<std::string> extractImages(const std::string& path,
                                                          const std::string& folder, bool overwrite,
                                                          const ProgressFunction& progress = {});

}  // namespace brisko::scan
