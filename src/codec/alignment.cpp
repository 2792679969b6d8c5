#include <brisko_codec/alignment.h>

#include "base/or_failure.h"
#include "codec/aligned_reader.h"
#include "codec/alignment_file.h"

#include <algorithm>
#include <iterator>

namespace brisko {

Alignment getAlignment(const BriskoCodec& codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(&codec);
    return reader ? reader->alignment() : Alignment{};
}

bool setFrame(BriskoCodec& codec, Frame frame) {
    auto* const reader = dynamic_cast<AlignedReader*>(&codec);
    if (reader) reader->setFrame(frame);
    return reader != nullptr;
}

bool readAlignmentFile(const char* path, double (&matrix)[16]) {
    AlignmentMatrix loaded;
    const auto load = [&] { return path && loadAlignment(path, loaded) == AlignmentSource::File; };
    if (!orFailure(load)) return false;
    std::copy(loaded.rows().begin(), loaded.rows().end(), matrix);
    return true;
}

void applyAlignment(const double (&matrix)[16], double& x, double& y, double& z) {
    AlignmentMatrix::Rows rows;
    std::copy(std::begin(matrix), std::end(matrix), rows.begin());
    AlignmentMatrix(rows).apply(x, y, z);
}

}  // namespace brisko
