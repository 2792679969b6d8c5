#include "codec/clr_plain_cells.h"

#include "base/checked.h"
#include "base/file.h"
#include "layouts/clr_record.h"

#include <algorithm>

namespace brisko {

CLRPlainCells::CLRPlainCells(std::FILE* file, const CLRFileHeader& header, FirstProblem& problem)
    : m_file(file), m_merge(rangeTableFor(header.GetModelName())) {
    const std::uint64_t length = fileLength(file);
    const std::uint64_t cells = gridOf(header).cells();
    noteWrongLength(header, length, problem);
    if (cells == 0 || length <= blockStart(0)) return;
    // A block whose size does not even fit into a number is the only one that starts in the file.
    constexpr std::uint64_t kEndless = std::uint64_t{1} << 63;
    m_blockSize =
        checkedMultiply(cells, clr_record::kSize).value_or(kEndless) + clr_block::kHeaderSize;
    // A block that starts behind the end of the file holds nothing, nor does a cell whose record in
    // the first block lies there.
    const std::uint64_t blocksInFile = divideRoundingUp(length - blockStart(0), m_blockSize);
    m_blockCount = std::min<std::uint64_t>(header.GetBlockCount(), blocksInFile);
    const std::uint64_t recordBytes = length - blockStart(0) - clr_block::kHeaderSize;
    m_cellCount = std::min(cells, recordBytes / clr_record::kSize);
}

/// All blocks have the same size, so that the length of the file shows whether they are all there. A
/// writer may leave a few bytes after the last block, but not as many as another block takes.
void CLRPlainCells::noteWrongLength(const CLRFileHeader& header, std::uint64_t length,
                                    FirstProblem& problem) {
    using Wide = unsigned __int128;  // holds the product of three header fields
    const Wide block = clr_block::kHeaderSize + clr_record::kSize * Wide{gridOf(header).cells()};
    const Wide announced = clr_header::kSize + block * header.GetBlockCount();
    if (length < announced) {
        problem.note(ReadProblemKind::CutShort, FirstProblem::File::Scan, length);
    } else if (length - announced >= block) {
        problem.note(ReadProblemKind::LeftOver, FirstProblem::File::Scan,
                     static_cast<std::uint64_t>(announced));
    }
}

std::uint64_t CLRPlainCells::blockStart(std::uint64_t block) const {
    return clr_header::kSize + block * m_blockSize;
}

/// Records that the file lacks are empty cells.
void CLRPlainCells::readRun(std::uint64_t block, std::size_t cells, std::vector<RawRecord>& out) {
    out.resize(cells);
    const std::uint64_t offset =
        blockStart(block) + clr_block::kHeaderSize + m_done * clr_record::kSize;
    const std::size_t got = readAt(m_file, offset, out.data(), cells * clr_record::kSize);
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(got / clr_record::kSize), out.end(),
              RawRecord{});
}

/// The flag of a block, read when its first run is. Kept where more runs follow: such blocks are large,
/// so that there are few.
std::uint8_t CLRPlainCells::flagOf(std::uint64_t block) {
    if (block < m_flags.size()) return m_flags[block];
    std::uint8_t flag = 0;
    readAt(m_file, blockStart(block), &flag, sizeof flag);
    if (m_cellCount > kRunCells) m_flags.push_back(flag);
    return flag;
}

void CLRPlainCells::mergeRun(std::size_t cells) {
    m_merge.start(cells);
    for (std::uint64_t block = 0; block < m_blockCount; ++block) {
        const std::uint8_t flag = flagOf(block);
        readRun(block, cells, m_run);
        m_merge.add(m_run.data(), flag);
    }
}

std::size_t CLRPlainCells::nextRun() {
    if (m_blockCount == 0) return 0;
    const auto cells = static_cast<std::size_t>(std::min(kRunCells, m_cellCount - m_done));
    if (m_blockCount == 1) {
        readRun(0, cells, m_run);
        m_cells = m_run.data();
    } else {
        mergeRun(cells);
        m_cells = m_merge.merged();
    }
    m_done += cells;
    return cells;
}

}  // namespace brisko
