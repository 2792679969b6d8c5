#pragma once

#include "codec/clr_cells.h"
#include "layouts/block_merge.h"

#include <vector>

namespace brisko {

/// Cells stored as plain records: block k begins at a place that can be computed, so that any number
/// of blocks is walked in step with the memory of two runs.
class CLRPlainCells final : public CLRCells {
public:
    CLRPlainCells(const std::vector<CLRSource>& sources, FirstProblem& problem);

    std::size_t nextRun() override;
    const RawRecord* cells() const override { return m_cells; }

private:
    static constexpr std::uint64_t kRunCells = 5000;

    /// A block that starts inside its file.
    struct Block {
        std::FILE* file;
        std::uint64_t start;  // offset of its flag
    };

    void addFile(const CLRSource& source, FirstProblem& problem);
    Block blockAt(std::uint64_t block) const;
    void readRun(const Block& block, std::size_t cells, std::vector<RawRecord>& out);
    std::uint8_t flagOf(std::uint64_t number, const Block& block);
    void mergeRun(std::size_t cells);

    struct File {
        std::FILE* file;
        std::uint64_t firstBlock;
    };
    ReadErrors* m_errors;
    std::vector<File> m_files;
    std::uint64_t m_blockSize = 0;   // bytes
    std::uint64_t m_blockCount = 0;  // of the blocks that start inside their file
    std::uint64_t m_cellCount = 0;   // of which the first block holds a record at all
    std::uint64_t m_done = 0;
    std::vector<std::uint8_t> m_flags;  // by block
    std::vector<RawRecord> m_run;
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
};

}  // namespace brisko
