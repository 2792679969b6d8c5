#pragma once

#include "support/read_points.h"

#include <iosfwd>
#include <string>

namespace brisko::test {

/// A reader and a scan for it.
struct Reader {
    const char* name;
    BriskoCodec* (*create)();
    const char* scan;
};
std::ostream& operator<<(std::ostream& out, const Reader& reader);

/// Readers of every kind.
extern const Reader kReaders[8];

/// The folder of their scans, with a photo and its calibration.
const std::string& readersFolder();
inline std::string scanOf(const Reader& reader) {
    return readersFolder() + "/" + reader.scan;
}

}  // namespace brisko::test
