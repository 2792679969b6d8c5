#pragma once

#include "codec/clr_cells.h"
#include "layouts/block_merge.h"
#include "layouts/compressed_lines.h"

#include <optional>
#include <vector>

namespace brisko {

/// Cells stored as compressed lines, walked piece by piece. Where a block of them begins is only
/// known once the lengths of all pieces before it were read, so with several blocks the file is
/// skimmed once at the start.
class CLRCompressedCells final : public CLRCells {
public:
    CLRCompressedCells(const std::vector<CLRSource>& sources, FirstProblem& problem);

    std::size_t nextRun() override;
    const RawRecord* cells() const override { return m_cells; }

private:
    /// More blocks than this are not walked: their places alone would fill the memory that a reader
    /// may take. Scanners write a handful.
    static constexpr std::uint64_t kMostBlocks = 1'000'000;
    /// Shared out among the blocks as windows of the file.
    static constexpr std::size_t kWindowMemory = std::size_t{32} << 20;
    static constexpr std::size_t kLargestWindow = std::size_t{64} << 10;
    /// Below this a window holds too few pieces to be worth having.
    static constexpr std::size_t kSmallestWindow = std::size_t{16} << 10;

    /// One of the files.
    struct File {
        std::FILE* file = nullptr;
        FirstProblem::File name = FirstProblem::kScan;
        std::uint64_t length = 0;
    };
    struct Block {
        File file;
        bool isLastOfFile = false;
        std::uint64_t next = 0;         // offset of the next piece
        std::uint64_t windowStart = 0;  // offset of the first byte in the block's window
        std::size_t windowBytes = 0;
        std::uint8_t flag = 0;
        bool ended = false;
    };
    /// A part of the file for a walk that goes forward only.
    struct SkimWindow {
        File file;
        std::vector<std::uint8_t> bytes;
        std::uint64_t start = 0;
        std::size_t held = 0;
    };
    /// A piece behind its length, in memory of which kPieceBuffer bytes may be read.
    struct Piece {
        const std::uint8_t* bytes;
        std::uint32_t length;
    };

    /// A size of a buffer, as far as the file can fill it.
    std::size_t upToFile(std::size_t size) const;
    void findBlocks(const File& file, std::uint64_t count);
    std::optional<std::uint64_t> skimBlock(std::uint64_t offset, SkimWindow& window);
    std::optional<Piece> nextPiece(std::size_t block);
    std::optional<Piece> pieceInWindow(std::size_t block);
    std::optional<Piece> pieceFromFile(Block& block);
    void noteMissingPiece(const Block& block, std::uint32_t length);
    void checkEnd();
    bool decodeNextPiece(std::size_t block, std::size_t points, RawRecord* out);
    void mergeRun(std::size_t points);

    FirstProblem& m_problem;
    CLRGrid m_grid;
    std::uint64_t m_length = 0;  // of the longest file
    std::vector<Block> m_blocks;
    std::size_t m_windowSize = 0;  // 0: pieces are read one at a time
    std::vector<std::uint8_t> m_windows;
    std::vector<std::uint8_t> m_piece = std::vector<std::uint8_t>(kPieceBuffer);
    std::vector<RawRecord> m_points = std::vector<RawRecord>(kPiecePoints);
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
    std::uint64_t m_linesDone = 0;
    std::uint64_t m_rowsDone = 0;  // of the line
};

}  // namespace brisko
