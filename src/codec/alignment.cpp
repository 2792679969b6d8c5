#include "codec/alignment.h"

#include <brisko_codec/alignment.h>

#include "base/companion_path.h"
#include "base/read_errors.h"
#include "base/staged_output.h"
#include "layouts/alg_text.h"
#include "pcplib/files/pt_cld_alg_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <iterator>
#include <utility>

namespace brisko {

AlignmentSource loadAlignment(const std::string& path, AlignmentMatrix& matrix,
                              ReadErrors* errors) {
    QelPcpLib::CPtCldAlgFile file;
    if (!file.Open(path, QelPcpLib::OpenMode::ReadText)) {
        if (errno == ENOENT) return AlignmentSource::None;
        noteIn(errors);
        return AlignmentSource::Unreadable;
    }
    QelPcpLib::AlgHeader header;
    const bool parsed = file.ReadHeader(header);
    if (file.HasFailed()) noteIn(errors);
    if (!parsed || file.HasFailed()) return AlignmentSource::Unreadable;

    // A line of the file is a row of the matrix, and the header keeps it column by column.
    Matrix rows{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column)
            rows[4 * row + column] = header.matrix[row + 4 * column];
    }
    const auto isFinite = [](double element) { return std::isfinite(element); };
    if (!std::all_of(rows.begin(), rows.end(), isFinite)) return AlignmentSource::Unreadable;
    matrix = AlignmentMatrix(rows);
    return AlignmentSource::File;
}

Alignment alignmentBeside(const std::string& scanPath, ReadErrors& errors) {
    AlignmentMatrix matrix;
    Alignment alignment;
    alignment.source = loadAlignment(companionForReading(scanPath, ".alg"), matrix, &errors);
    std::copy(matrix.rows().begin(), matrix.rows().end(), alignment.matrix);
    return alignment;
}

Alignment getAlignment(const BriskoCodec& codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(&codec);
    return reader ? reader->alignment() : Alignment{};
}

bool setFrame(BriskoCodec& codec, Frame frame) {
    auto* const reader = dynamic_cast<AlignedReader*>(&codec);
    if (reader) reader->setFrame(frame);
    return reader != nullptr;
}

bool setColumnRange(BriskoCodec& codec, const ColumnRange& columns,
                    std::shared_ptr<const CL3TileTable> tiles) {
    auto* const reader = dynamic_cast<AlignedReader*>(&codec);
    return reader && reader->setColumnRange(columns, std::move(tiles));
}

bool readAlignmentFile(const char* path, double (&matrix)[16]) {
    AlignmentMatrix loaded;
    const auto load = [&] { return path && loadAlignment(path, loaded) == AlignmentSource::File; };
    if (!orFailure(load)) return false;
    std::copy(loaded.rows().begin(), loaded.rows().end(), matrix);
    return true;
}

bool writeAlignmentFile(const char* path, const double (&matrix)[16], const AlignmentBox& box) {
    AlgArea area;
    std::copy(std::begin(box.max), std::end(box.max), area.max.begin());
    std::copy(std::begin(box.min), std::end(box.min), area.min.begin());
    return orFailure([&] { return replaceFile(path, algText(std::to_array(matrix), area)); });
}

void applyAlignment(const double (&matrix)[16], double& x, double& y, double& z) {
    AlignmentMatrix(std::to_array(matrix)).apply(x, y, z);
}

}  // namespace brisko
