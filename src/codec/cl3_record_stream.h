#pragma once

#include "codec/stale_batch.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace brisko {

/// The records of a CL3 file one after another, over all blocks, read in large batches. A batch never
/// crosses a block.
class CL3RecordStream {
public:
    /// Starts a pass. The stream stands at the first block header.
    void start(std::FILE* file, std::size_t recordSize, std::uint32_t blockCount,
               FirstProblem& problem);
    /// Limits a pass that was just started to some blocks, from 0.
    ///   offset  of the first one in the file; not used where there is none
    /// Returns: false when the file cannot be read there.
    bool limit(std::uint32_t firstBlock, std::uint32_t endBlock, std::uint64_t offset);
    /// Ends the pass.
    void stop();

    /// Moves to the next record. Returns false at the end of the data.
    bool advance() {
        if (m_next == m_end && !nextBatch()) return false;
        m_record = m_next;
        m_next += m_recordSize;
        return true;
    }
    const std::uint8_t* record() const { return m_record; }
    /// Of the file, where the pass is not limited.
    std::uint32_t blockCount() const { return m_blockCount; }
    /// The block of the record, from 0, and its number in the block, from 1.
    std::uint32_t block() const { return m_blockCount - m_blocksLeft - 1; }
    std::uint32_t numberInBlock() const {
        const auto later = static_cast<std::size_t>(m_end - m_record) / m_recordSize;
        return m_pointCount - m_pointsLeft - static_cast<std::uint32_t>(later) + 1;
    }

    /// The records of the batch that were not taken yet, for loops that take many: start at next(),
    /// and give take() how far they came.
    const std::uint8_t* next() const { return m_next; }
    const std::uint8_t* end() const { return m_end; }
    std::size_t recordSize() const { return m_recordSize; }
    void take(const std::uint8_t* upTo) { m_next = upTo; }

private:
    bool nextBatch();
    bool nextBlock();
    void checkEnd();

    const std::uint8_t* m_next = nullptr;
    const std::uint8_t* m_end = nullptr;
    std::size_t m_recordSize = 0;
    const std::uint8_t* m_record = nullptr;
    std::FILE* m_file = nullptr;
    std::uint32_t m_blockCount = 0;  // up to the last one of the pass
    bool m_isLimited = false;        // more blocks may follow
    std::uint32_t m_blocksLeft = 0;
    std::uint32_t m_pointCount = 0;  // of the last block header that was read
    std::uint32_t m_pointsLeft = 0;  // of the block, after the batch
    FirstProblem* m_problem = nullptr;
    PassLimits m_pass;
    StaleBatch m_batch;
};

}  // namespace brisko
