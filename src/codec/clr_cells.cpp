#include "codec/clr_cells.h"

#include "base/checked.h"
#include "base/file.h"
#include "layouts/layout.h"

namespace brisko {

CLRGrid gridOf(const CLRFileHeader& header) {
    const auto columns = static_cast<std::int64_t>(header.GetAzimuthResolution());
    const auto rows = static_cast<std::int64_t>(header.GetZenithResolution());
    if (columns <= 0 || rows <= 0) return {};
    // Both counts have 31 bits on disk, so that no product of theirs overflows.
    return {static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows)};
}

bool hasPlainRecords(const CLRFileHeader& header, std::uint64_t fileSize) {
    const CLRPointFormat format{header.GetPointFormat()};
    if (format != CLRPointFormat::Compressed) return isKnown(format);
    const std::uint64_t cells = gridOf(header).cells();
    const auto recordBytes = checkedMultiply(cells, clr_record::kSize);
    if (cells == 0 || !recordBytes) return false;
    const auto blockBytes =
        checkedMultiply(*recordBytes + clr_block::kHeaderSize, header.GetBlockCount());
    return blockBytes && checkedAdd(*blockBytes, clr_header::kSize) == fileSize;
}

namespace {

/// Files without a block fit to any kind.
bool fitsTo(const CLRSource& first, const CLRSource& other, bool plain, ReadErrors* errors) {
    const CLRFileHeader &a = first.header, &b = other.header;
    return a.GetAzimuthResolution() == b.GetAzimuthResolution() &&
           a.GetZenithResolution() == b.GetZenithResolution() &&
           a.GetPointFormat() == b.GetPointFormat() &&
           (b.GetBlockCount() == 0 || gridOf(b).cells() == 0 ||
            hasPlainRecords(b, fileLength(other.file, errors)) == plain);
}

}  // namespace

bool isPlain(const CLRSource& first, FirstProblem& problem) {
    return gridOf(first.header).cells() == 0 ||
           hasPlainRecords(first.header, fileLength(first.file, problem.readErrors()));
}

std::unique_ptr<CLRCells> openCLRCells(const std::vector<CLRSource>& sources,
                                       const ColumnRange& lines, FirstProblem& problem,
                                       const PieceTable* pieces) {
    const CLRSource& first = sources.front();
    const bool plain = isPlain(first, problem);
    for (const CLRSource& source : sources) {
        if (isKnown(CLRPointFormat{source.header.GetPointFormat()}) &&
            fitsTo(first, source, plain, problem.readErrors())) {
            continue;
        }
        problem.note(ReadProblemKind::BadHeader, source.name, 0);
        return nullptr;
    }
    return plain ? openPlainCells(sources, lines, problem)
                 : openCompressedCells(sources, lines, problem, pieces);
}

}  // namespace brisko
