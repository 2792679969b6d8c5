#pragma once

#include <brisko_scan/export.h>

#include <cstdint>
#include <string>

namespace brisko::scan {

/// "1 point", "2 points".
BRISKO_SCAN_EXPORT std::string countOf(std::uint64_t count, const std::string& thing);

}  // namespace brisko::scan
