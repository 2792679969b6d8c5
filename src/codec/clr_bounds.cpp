#include "codec/actual_clr_codec.h"
#include "layouts/records.h"

#include <algorithm>

namespace brisko {

namespace {

/// The cells of a piece, as far as whole lines go.
constexpr std::uint64_t kPieceCells = std::uint64_t{1} << 17;
/// The blocks of scans of which pieces are read apart. Each takes a window in each piece; scanners write a handful.
constexpr std::uint64_t kMostBlocks = 64;

struct Lines {
    ColumnRange columns;
    PointBounds bounds;
    bool isSound = false;
};

/// A scan whose lines are read apart.
struct Source {
    const std::vector<CLRSource>& files;
    const PieceTable* pieces;  // of compressed lines; else null
    const AlignmentMatrix& matrix;
};

PointBounds boundsOf(const RawRecord* records, std::size_t count, const AlignmentMatrix& matrix) {
    PointBounds bounds;
    for (const RawRecord* in = records; in != records + count; ++in) {
        if (!isMeasured(*in)) continue;
        double x = toMetres(in->x), y = toMetres(in->y), z = toMetres(in->z);
        matrix.apply(x, y, z);
        bounds.add({x, y, z});
    }
    return bounds;
}

/// False where anything is wrong with the lines.
bool readLines(const Source& source, Lines& lines) {
    FirstProblem problem;
    const auto cells = openCLRCells(source.files, lines.columns, problem, source.pieces);
    if (!cells) return false;
    lines.bounds = {};
    while (const std::size_t count = cells->nextRun())
        lines.bounds.add(boundsOf(cells->cells(), count, source.matrix));
    return problem.isNone() && problem.readErrorCount() == 0;
}

std::optional<PointBounds> findBoundsOf(const Source& source, std::uint32_t columns,
                                        std::uint32_t linesOfPiece, std::size_t threads) {
    std::uint32_t next = 0;
    const auto fetch = [&](Lines& lines) {
        const std::uint32_t first = next;
        next += std::min(linesOfPiece, columns - first);
        lines.columns = {first, next};
        return next != first;
    };
    const auto work = [&](Lines& lines) { lines.isSound = readLines(source, lines); };
    PiecesAhead<Lines> ahead(threads, fetch, work);
    return joinBounds(ahead);
}

std::uint64_t blocksOf(const std::vector<CLRSource>& sources) {
    std::uint64_t blocks = 0;
    for (const CLRSource& source : sources)
        blocks += source.header.GetBlockCount();
    return blocks;
}

}  // namespace

std::optional<PointBounds> ActualCLRCodec::findBoundsApart(std::size_t threads) {
    stopPass();
    const std::vector<CLRSource> sources = findSources();
    if (sources.empty() || blocksOf(sources) > kMostBlocks) return {};
    const CLRGrid grid = gridOf(sources.front().header);
    if (grid.cells() < kWorthwhileBounds) return {};
    const auto lines =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(kPieceCells / grid.rows, 1));
    const bool isCompressed = !isPlain(sources.front(), m_problem);
    PieceTable pieces;
    if (isCompressed) pieces = findPieces(sources, lines, m_problem, [] {});
    if (readProblem() || (isCompressed && pieces.blocks.empty())) return {};
    const Source source{sources, isCompressed ? &pieces : nullptr, applied()};
    const auto bounds =
        findBoundsOf(source, static_cast<std::uint32_t>(grid.columns), lines, threads);
    if (bounds) takeGrid(sources.front().header);
    return bounds;
}

}  // namespace brisko
