#include "codec/alignment_file.h"

#include "base/file.h"
#include "base/text.h"

#include <cerrno>
#include <cmath>
#include <cstring>

namespace brisko {
AlignmentSource loadAlignment(const std::string& path, AlignmentMatrix& matrix) {
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file) return errno == ENOENT ? AlignmentSource::None : AlignmentSource::Unreadable;
    char line[4096];
    if (!std::fgets(line, sizeof line, file.get())) return AlignmentSource::Unreadable;
    AlignmentMatrix::Rows rows{};
    for (std::size_t r = 0; r < 4; ++r) {
        if (!std::fgets(line, sizeof line, file.get())) return AlignmentSource::Unreadable;
        const char* at = line;
        for (std::size_t c = 0; c < 4; ++c)
            rows[4 * r + c] = parseDouble(at, &at);
    }
    matrix = AlignmentMatrix(rows);
    return AlignmentSource::File;
}
}  // namespace brisko
