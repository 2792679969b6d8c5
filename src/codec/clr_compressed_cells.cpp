#include "codec/clr_compressed_cells.h"

#include "base/bytes.h"
#include "base/checked.h"
#include "base/file.h"
#include "layouts/layout.h"

#include <algorithm>

namespace brisko {

namespace {

constexpr std::size_t kLengthSize = sizeof(std::uint32_t);
/// Behind a window, so that a piece at its end can be decoded where it lies.
constexpr std::size_t kWindowSlack = kLengthSize + kPieceBuffer;

}  // namespace

CLRCompressedCells::CLRCompressedCells(const std::vector<CLRSource>& sources, FirstProblem& problem)
    : m_problem(problem),
      m_grid(gridOf(sources.front().header)),
      m_merge(rangeTableFor(sources.front().header.GetModelName())) {
    for (const CLRSource& source : sources)
        m_length = std::max(m_length, fileLength(source.file, problem.readErrors()));
    for (const CLRSource& source : sources) {
        findBlocks({source.file, source.name, fileLength(source.file, problem.readErrors())},
                   source.header.GetBlockCount());
    }
    if (m_blocks.empty()) return;
    const std::size_t share = kWindowMemory / m_blocks.size();
    if (share >= kSmallestWindow)
        m_windowSize = upToFile(std::min(share, kLargestWindow) - kWindowSlack);
    if (m_windowSize > 0) m_windows.resize((m_windowSize + kWindowSlack) * m_blocks.size());
}

std::size_t CLRCompressedCells::upToFile(std::size_t size) const {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size, m_length));
}

void CLRCompressedCells::findBlocks(const File& file, std::uint64_t count) {
    std::uint64_t start = clr_header::kSize;
    if (count == 0 && start < file.length) {
        m_problem.note(ReadProblemKind::LeftOver, file.name, start);
    }
    SkimWindow window{file, std::vector<std::uint8_t>(upToFile(kLargestWindow))};
    while (count-- > 0) {
        if (start >= file.length || m_blocks.size() == kMostBlocks) {
            m_problem.note(ReadProblemKind::CutShort, file.name, start);
            if (start < file.length) m_blocks.clear();
            return;
        }
        Block block{.file = file, .isLastOfFile = count == 0};
        readAt(file.file, start, &block.flag, sizeof block.flag, m_problem.readErrors());
        block.next = start + clr_block::kHeaderSize;
        m_blocks.push_back(block);
        if (count == 0) return;  // nobody asks where the last block ends
        const auto end = skimBlock(block.next, window);
        if (!end) return;
        start = *end;
    }
}

/// Follows the lengths of a block's pieces. Returns the offset behind the block; nothing when the
/// block does not end well, so that what follows cannot be found.
std::optional<std::uint64_t> CLRCompressedCells::skimBlock(std::uint64_t offset,
                                                           SkimWindow& window) {
    const std::uint64_t piecesInLine = divideRoundingUp(m_grid.rows, kPiecePoints);
    for (std::uint64_t line = 0; line < m_grid.columns; ++line) {
        for (std::uint64_t piece = 0; piece < piecesInLine; ++piece) {
            if (offset + kLengthSize > window.start + window.held) {
                window.start = offset;
                window.held = readAt(window.file.file, offset, window.bytes.data(),
                                     window.bytes.size(), m_problem.readErrors());
                if (window.held < kLengthSize) {
                    m_problem.note(ReadProblemKind::CutShort, window.file.name, offset);
                    return std::nullopt;
                }
            }
            const std::uint32_t length = loadU32(window.bytes.data() + (offset - window.start));
            if (length > kLongestPiece) {
                m_problem.note(ReadProblemKind::BadPiece, window.file.name, offset);
                return std::nullopt;
            }
            offset += kLengthSize + length;
        }
    }
    return offset;
}

/// The file has no whole piece where the block's next one is due: it ends, or the length is one that
/// no piece has.
void CLRCompressedCells::noteMissingPiece(const Block& block, std::uint32_t length) {
    const bool isLength = length > kLongestPiece;
    m_problem.note(isLength ? ReadProblemKind::BadPiece : ReadProblemKind::CutShort,
                   block.file.name, block.next);
}

std::optional<CLRCompressedCells::Piece> CLRCompressedCells::pieceInWindow(std::size_t index) {
    Block& block = m_blocks[index];
    std::uint8_t* const memory = m_windows.data() + index * (m_windowSize + kWindowSlack);
    std::uint64_t windowEnd = block.windowStart + block.windowBytes;
    if (block.next + kLengthSize + kLongestPiece > windowEnd && windowEnd < block.file.length) {
        block.windowStart = block.next;
        block.windowBytes =
            readAt(block.file.file, block.next, memory, m_windowSize, m_problem.readErrors());
        windowEnd = block.windowStart + block.windowBytes;
    }
    if (block.next + kLengthSize > windowEnd) {
        noteMissingPiece(block, 0);
        return std::nullopt;
    }
    const std::uint8_t* const in = memory + (block.next - block.windowStart);
    const std::uint32_t length = loadU32(in);
    if (length > kLongestPiece || block.next + kLengthSize + length > windowEnd) {
        noteMissingPiece(block, length);
        return std::nullopt;
    }
    return Piece{in + kLengthSize, length};
}

std::optional<CLRCompressedCells::Piece> CLRCompressedCells::pieceFromFile(Block& block) {
    std::uint8_t lengthBytes[kLengthSize] = {};
    const std::size_t got =
        readAt(block.file.file, block.next, lengthBytes, kLengthSize, m_problem.readErrors());
    const std::uint32_t length = loadU32(lengthBytes);
    if (got < kLengthSize || length > kLongestPiece ||
        readAt(block.file.file, block.next + kLengthSize, m_piece.data(), length,
               m_problem.readErrors()) < length) {
        noteMissingPiece(block, got < kLengthSize ? 0 : length);
        return std::nullopt;
    }
    return Piece{m_piece.data(), length};
}

/// Nothing when the file ends inside the piece, or its length is one that no piece has: the block
/// ends there.
std::optional<CLRCompressedCells::Piece> CLRCompressedCells::nextPiece(std::size_t index) {
    Block& block = m_blocks[index];
    if (block.ended) return std::nullopt;
    const auto piece = m_windowSize > 0 ? pieceInWindow(index) : pieceFromFile(block);
    block.ended = !piece;
    if (piece) block.next += kLengthSize + piece->length;
    return piece;
}

bool CLRCompressedCells::decodeNextPiece(std::size_t index, std::size_t points, RawRecord* out) {
    const auto piece = nextPiece(index);
    if (!piece) return false;
    const std::size_t used = decodeWholePiece(piece->bytes, piece->length, points, out);
    if (!isWholePiece(piece->length, used)) [[unlikely]] {
        const Block& block = m_blocks[index];
        m_problem.note(ReadProblemKind::BadPiece, block.file.name,
                       block.next - piece->length - kLengthSize);
    }
    return true;
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
    if (m_blocks.empty() || m_linesDone == m_grid.columns) {
        checkEnd();
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
        if (!block.isLastOfFile || block.next >= block.file.length) continue;
        m_problem.note(ReadProblemKind::LeftOver, block.file.name, block.next);
    }
}

}  // namespace brisko
