#include "codec/alignment_file.h"

#include "base/companion_path.h"
#include "pcplib/files/pt_cld_alg_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

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
    AlignmentMatrix::Rows rows{};
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

}  // namespace brisko
