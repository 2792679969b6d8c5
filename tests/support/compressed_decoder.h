#pragma once

#include "support/scan_bytes.h"

namespace brisko::test {

/// Decodes one compressed scan line, slowly and by the description of the format alone; shares
/// nothing with the library. Throws when the bytes run out.
std::vector<ClrRecord> decodeLine(const Bytes& bytes, std::size_t points);

}  // namespace brisko::test
