#pragma once

#include "codec/clr_cells.h"
#include "layouts/block_merge.h"

#include <vector>

namespace brisko {

/// Cells stored as plain records: block k begins at a place that can be computed, so that any number
/// of blocks is walked in step with the memory of two runs.
class CLRPlainCells final : public CLRCells {
public:
    CLRPlainCells(std::FILE* file, const CLRFileHeader& header, FirstProblem& problem);

    std::size_t nextRun() override;
    const RawRecord* cells() const override { return m_cells; }

private:
    static constexpr std::uint64_t kRunCells = 5000;

    static void noteWrongLength(const CLRFileHeader& header, std::uint64_t length,
                                FirstProblem& problem);
    std::uint64_t blockStart(std::uint64_t block) const;
    void readRun(std::uint64_t block, std::size_t cells, std::vector<RawRecord>& out);
    std::uint8_t flagOf(std::uint64_t block);
    void mergeRun(std::size_t cells);

    std::FILE* m_file;
    std::uint64_t m_blockSize = 0;   // bytes
    std::uint64_t m_blockCount = 0;  // of the blocks that start inside the file
    std::uint64_t m_cellCount = 0;   // of which the file holds a record at all
    std::uint64_t m_done = 0;
    std::vector<std::uint8_t> m_flags;  // by block
    std::vector<RawRecord> m_run;
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
};

}  // namespace brisko
