#pragma once

#include "base/input_window.h"
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
    bool skimBlock(InputWindow& file, FirstProblem::File name);
    void makeWindows();
    InputWindow& windowOf(std::size_t index);
    void noteProblem(const Piece& piece, FirstProblem::File name);
    bool decodeNextPiece(std::size_t index, std::size_t points, RawRecord* out);
    void mergeRun(std::size_t points);
    void checkEnd();

    FirstProblem& m_problem;
    CLRGrid m_grid;
    std::vector<Block> m_blocks;
    std::vector<InputWindow> m_windows;   // of the blocks; none where there are too many of them
    std::optional<InputWindow> m_shared;  // then of the block that was read last
    std::FILE* m_sharedFile = nullptr;
    std::vector<RawRecord> m_points = std::vector<RawRecord>(kPiecePoints);
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
    std::uint64_t m_linesDone = 0;
    std::uint64_t m_rowsDone = 0;  // of the line
};

}  // namespace brisko
