#include "base/checked.h"
#include "base/file.h"
#include "base/input_window.h"
#include "codec/clr_cells.h"
#include "layouts/block_merge.h"
#include "layouts/compressed_lines.h"
#include "layouts/layout.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace brisko {

namespace {

constexpr std::size_t kLargestWindow = std::size_t{64} << 10;

void noteBadPiece(const Piece& piece, FirstProblem::File name, FirstProblem& problem) {
    using Kind = ReadProblemKind;
    const bool isUnreadable = piece.state == PieceState::Unreadable;
    if (isUnreadable) problem.readErrors()->note();
    const Kind kind = isUnreadable                          ? Kind::Unreadable
                      : piece.state == PieceState::CutShort ? Kind::CutShort
                                                            : Kind::BadPiece;
    problem.note(kind, name, piece.offset);
}

/// Follows the lengths of the pieces of some lines of so many points. False when they do not end well, so that
/// what follows cannot be found.
bool skimLines(std::uint64_t lines, std::uint64_t points, InputWindow& file,
               FirstProblem::File name, FirstProblem& problem) {
    const std::uint64_t piecesInLine = divideRoundingUp(points, kPiecePoints);
    for (std::uint64_t line = 0; line < lines; ++line) {
        for (std::uint64_t number = 0; number < piecesInLine; ++number) {
            const Piece piece = findPiece(file);
            if (!piece.isWhole()) {
                noteBadPiece(piece, name, problem);
                return false;
            }
            file.skip(piece.bytes.size());
        }
    }
    return true;
}

/// Cells stored as compressed lines, walked piece by piece. Where a block of them begins is only
/// known once the lengths of all pieces before it were read, so with several blocks the file is
/// skimmed once at the start.
class CLRCompressedCells final : public CLRCells {
public:
    CLRCompressedCells(const std::vector<CLRSource>& sources, const ColumnRange& lines,
                       FirstProblem& problem, const PieceTable* pieces);

    std::size_t nextRun() override;
    const RawRecord* cells() const override { return m_cells; }

private:
    /// More blocks than this are not walked: their places alone would fill the memory that a reader
    /// may take. Scanners write a handful.
    static constexpr std::uint64_t kMostBlocks = 1'000'000;
    /// Shared out among the blocks as windows of the file.
    static constexpr std::size_t kWindowMemory = std::size_t{32} << 20;
    /// Below this a window holds too few pieces to be worth having: all blocks then share one.
    static constexpr std::size_t kSmallestWindow = std::size_t{16} << 10;

    struct Block {
        std::FILE* file = nullptr;
        FirstProblem::File name = FirstProblem::kScan;
        bool isLastOfFile = false;
        std::uint8_t flag = 0;
        bool ended = false;
        std::uint64_t next = 0;  // offset of the next piece
    };

    void findBlocks(const CLRSource& source);
    void takeBlocks(const std::vector<CLRSource>& sources, const PieceTable& pieces);
    void makeWindows();
    InputWindow& windowOf(std::size_t index);
    bool decodeNextPiece(std::size_t index, std::size_t points, RawRecord* out);
    void mergeRun(std::size_t points);
    void checkEnd();

    FirstProblem& m_problem;
    CLRGrid m_grid;
    ColumnRange m_lines;
    std::vector<Block> m_blocks;
    std::vector<InputWindow> m_windows;   // of the blocks; none where there are too many of them
    std::optional<InputWindow> m_shared;  // then of the block that was read last
    std::FILE* m_sharedFile = nullptr;
    std::vector<RawRecord> m_points = std::vector<RawRecord>(kPiecePoints);
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
    std::uint64_t m_linesDone;     // those before the range included
    std::uint64_t m_rowsDone = 0;  // of the line
};

CLRCompressedCells::CLRCompressedCells(const std::vector<CLRSource>& sources,
                                       const ColumnRange& lines, FirstProblem& problem,
                                       const PieceTable* pieces)
    : m_problem(problem),
      m_grid(gridOf(sources.front().header)),
      m_lines(lines),
      m_merge(rangeTableFor(sources.front().header.GetModelName())),
      m_linesDone(lines.first) {
    if (pieces && lines.first % pieces->lines == 0) {
        takeBlocks(sources, *pieces);
    } else {
        for (const CLRSource& source : sources)
            findBlocks(source);
    }
    makeWindows();
}

void CLRCompressedCells::takeBlocks(const std::vector<CLRSource>& sources,
                                    const PieceTable& pieces) {
    for (const PieceTable::Block& block : pieces.blocks) {
        const std::size_t start = m_lines.first / pieces.lines;
        const bool isThere = start < block.starts.size();
        m_blocks.push_back({sources[block.source].file, sources[block.source].name,
                            block.isLastOfFile, block.flag, !isThere,
                            isThere ? block.starts[start] : 0});
    }
}

void CLRCompressedCells::findBlocks(const CLRSource& source) {
    std::uint64_t count = source.header.GetBlockCount();
    InputWindow file(source.file, kLargestWindow);
    file.jumpTo(clr_header::kSize);
    if (count == 0 && file.position() < file.fileSize()) {
        m_problem.note(ReadProblemKind::LeftOver, source.name, file.position());
    }
    while (count-- > 0) {
        const auto flag = file.atLeast(clr_block::kHeaderSize);
        if (flag.empty() || m_blocks.size() == kMostBlocks) {
            m_problem.note(file.failed() ? ReadProblemKind::Unreadable : ReadProblemKind::CutShort,
                           source.name, file.position());
            if (!flag.empty()) m_blocks.clear();
            break;
        }
        Block& block = m_blocks.emplace_back();
        block.file = source.file;
        block.name = source.name;
        block.isLastOfFile = count == 0;
        block.flag = flag.front();
        file.skip(clr_block::kHeaderSize);
        block.ended = !skimLines(m_lines.first, m_grid.rows, file, source.name, m_problem);
        block.next = file.position();
        if (block.ended || count == 0) break;  // nobody asks where the last block ends
        const std::uint64_t rest = m_grid.columns - m_lines.first;
        if (!skimLines(rest, m_grid.rows, file, source.name, m_problem)) break;
    }
    if (file.failed()) m_problem.readErrors()->note();
}

void CLRCompressedCells::makeWindows() {
    if (m_blocks.empty()) return;
    const std::size_t share = std::min(kWindowMemory / m_blocks.size(), kLargestWindow);
    if (share < kSmallestWindow) return;
    m_windows.reserve(m_blocks.size());
    for (const Block& block : m_blocks) {
        m_windows.emplace_back(block.file, share - kPieceBuffer, kPieceBuffer);
        m_windows.back().jumpTo(block.next);
    }
}

/// Stands at the block's next piece.
InputWindow& CLRCompressedCells::windowOf(std::size_t index) {
    if (!m_windows.empty()) return m_windows[index];
    const Block& block = m_blocks[index];
    if (m_sharedFile != block.file) {
        m_shared.emplace(block.file, kMostPieceBytes, kPieceBuffer);
        m_sharedFile = block.file;
    }
    m_shared->jumpTo(block.next);
    return *m_shared;
}

/// False when the file ends inside the piece, or its length is one that no piece has: the block ends
/// there.
bool CLRCompressedCells::decodeNextPiece(std::size_t index, std::size_t points, RawRecord* out) {
    Block& block = m_blocks[index];
    if (block.ended) return false;
    InputWindow& window = windowOf(index);
    Piece piece = findPiece(window);
    block.ended = !piece.isWhole();
    if (!block.ended) {
        decodePiece(piece, points, out, kPieceBuffer);
        window.skip(piece.bytes.size());
        block.next = window.position();
    }
    if (piece.state != PieceState::Sound) [[unlikely]]
        noteBadPiece(piece, block.name, m_problem);
    return !block.ended;
}

void CLRCompressedCells::mergeRun(std::size_t points) {
    m_merge.start(points);
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        if (decodeNextPiece(i, points, m_points.data())) {
            m_merge.add(m_points.data(), m_blocks[i].flag);
        }
    }
    m_cells = m_merge.merged();
}

std::size_t CLRCompressedCells::nextRun() {
    const auto allEnded = [this] {
        return std::all_of(m_blocks.begin(), m_blocks.end(),
                           [](const Block& block) { return block.ended; });
    };
    if (m_blocks.empty() || m_linesDone == m_lines.end) {
        if (m_lines.end == m_grid.columns) checkEnd();
        return 0;
    }
    const auto points =
        static_cast<std::size_t>(std::min<std::uint64_t>(kPiecePoints, m_grid.rows - m_rowsDone));
    if (m_blocks.size() == 1) {
        if (!decodeNextPiece(0, points, m_points.data())) return 0;
        m_cells = m_points.data();
    } else {
        mergeRun(points);
        if (allEnded()) return 0;
    }
    m_rowsDone += points;
    if (m_rowsDone == m_grid.rows) {
        m_rowsDone = 0;
        ++m_linesDone;
    }
    return points;
}

/// After the last line of a pass that met all pieces.
void CLRCompressedCells::checkEnd() {
    for (const Block& block : m_blocks) {
        if (!block.isLastOfFile || block.next >= fileLength(block.file, m_problem.readErrors())) {
            continue;
        }
        m_problem.note(ReadProblemKind::LeftOver, block.name, block.next);
    }
}

}  // namespace

std::unique_ptr<CLRCells> openCompressedCells(const std::vector<CLRSource>& sources,
                                              const ColumnRange& lines, FirstProblem& problem,
                                              const PieceTable* pieces) {
    return std::make_unique<CLRCompressedCells>(sources, lines, problem, pieces);
}

PieceTable findPieces(const std::vector<CLRSource>& sources, std::uint32_t lines,
                      FirstProblem& problem, const std::function<void()>& between) {
    PieceTable table{lines, {}};
    const CLRGrid grid = gridOf(sources.front().header);
    for (std::size_t source = 0; source < sources.size(); ++source) {
        const FirstProblem::File name = sources[source].name;
        InputWindow file(sources[source].file, kLargestWindow);
        file.jumpTo(clr_header::kSize);
        for (std::uint64_t left = sources[source].header.GetBlockCount(); left > 0; --left) {
            const auto flag = file.atLeast(clr_block::kHeaderSize);
            if (flag.empty()) {
                problem.note(
                    file.failed() ? ReadProblemKind::Unreadable : ReadProblemKind::CutShort, name,
                    file.position());
                return table;
            }
            PieceTable::Block& block = table.blocks.emplace_back();
            block.source = source;
            block.isLastOfFile = left == 1;
            block.flag = flag.front();
            file.skip(clr_block::kHeaderSize);
            for (std::uint64_t line = 0; line < grid.columns; line += lines) {
                between();
                block.starts.push_back(file.position());
                const auto some = std::min<std::uint64_t>(lines, grid.columns - line);
                if (!skimLines(some, grid.rows, file, name, problem)) return table;
            }
        }
    }
    return table;
}

}  // namespace brisko
