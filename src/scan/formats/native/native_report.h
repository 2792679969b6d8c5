#pragma once

#include <brisko_scan/inspect.h>

#include <string>

namespace brisko::scan {

// What the files of a native scan say of themselves, with the photos beside it.
ScanReport describeCL3(const std::string& path);
ScanReport describeCLR(const std::string& path);

}  // namespace brisko::scan
