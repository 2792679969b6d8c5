#include "codec/cl3_record_stream.h"

#include "base/bytes.h"
#include "base/file.h"
#include "layouts/layout.h"

#include <algorithm>

namespace brisko {

void CL3RecordStream::start(std::FILE* file, std::size_t recordSize, std::uint32_t blockCount,
                            FirstProblem& problem) {
    stop();
    m_file = file;
    m_recordSize = recordSize;
    m_blockCount = m_blocksLeft = blockCount;
    m_isLimited = false;
    m_problem = &problem;
    m_pass.start(file, cl3_header::kSize, problem, FirstProblem::kScan);
    m_batch.start(recordSize, 0);
}

bool CL3RecordStream::limit(std::uint32_t firstBlock, std::uint32_t endBlock,
                            std::uint64_t offset) {
    m_isLimited = true;
    m_blockCount = endBlock;
    m_blocksLeft = endBlock - firstBlock;
    if (m_blocksLeft == 0) return true;
    m_pass.start(m_file, offset, *m_problem, FirstProblem::kScan);
    return seekTo(m_file, offset, m_problem->readErrors());
}

void CL3RecordStream::stop() {
    m_file = nullptr;
    m_next = m_end = m_record = nullptr;
    m_blockCount = m_blocksLeft = m_pointCount = m_pointsLeft = 0;
}

bool CL3RecordStream::nextBatch() {
    while (m_pointsLeft == 0) {
        if (!nextBlock()) return false;
    }
    const std::size_t records = m_batch.fill(m_pass, m_pointsLeft);
    if (records == 0) {
        stop();
        return false;
    }
    m_pointsLeft -= static_cast<std::uint32_t>(records);
    m_next = m_batch.data();
    m_end = m_next + records * m_recordSize;
    return true;
}

bool CL3RecordStream::nextBlock() {
    if (m_blocksLeft == 0) {
        checkEnd();
        return false;
    }
    --m_blocksLeft;
    std::uint8_t header[cl3_block::kHeaderSize];
    const std::size_t got = m_pass.read(header, sizeof header);
    // A header that the file lacks leaves the count of the block before. Where that is 0 all further
    // blocks are empty too.
    const bool hasCount = got >= cl3_block::kFlag;
    if (hasCount) m_pointCount = loadU32(header + cl3_block::kPointCount);
    if (!hasCount && m_pointCount == 0) m_blocksLeft = 0;
    m_pointsLeft = m_pointCount;
    return true;
}

/// A plain writer leaves one empty block header after a last block that is full.
void CL3RecordStream::checkEnd() {
    if (!m_file || m_isLimited || m_pass.atEnd()) return;
    std::uint8_t rest[cl3_block::kHeaderSize + 1] = {};
    const std::size_t size =
        readAt(m_file, m_pass.position(), rest, sizeof rest, m_pass.readErrors());
    const bool isEmptyHeader =
        size == cl3_block::kHeaderSize &&
        std::all_of(rest, rest + size, [](std::uint8_t byte) { return byte == 0; });
    if (!isEmptyHeader) m_pass.noteProblem(ReadProblemKind::LeftOver, m_pass.position());
}

}  // namespace brisko
