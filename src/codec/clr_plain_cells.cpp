#include "base/checked.h"
#include "base/file.h"
#include "codec/clr_cells.h"
#include "layouts/block_merge.h"
#include "layouts/records.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace brisko {

namespace {

/// Cells stored as plain records: block k begins at a place that can be computed, so that any number
/// of blocks is walked in step with the memory of two runs.
class CLRPlainCells final : public CLRCells {
public:
    CLRPlainCells(const std::vector<CLRSource>& sources, const ColumnRange& lines,
                  FirstProblem& problem);

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
    std::uint64_t m_cellCount =
        0;  // of which the first block holds a record at all, up to the last line
    std::uint64_t m_done = 0;
    std::vector<std::uint8_t> m_flags;  // by block
    std::vector<RawRecord> m_run;
    BlockMerge m_merge;
    const RawRecord* m_cells = nullptr;
};

/// All blocks have the same size, so that the length of the file shows whether they are all there. A
/// writer may leave a few bytes after the last block, but not as many as another block takes.
void noteWrongLength(const CLRSource& source, std::uint64_t length, FirstProblem& problem) {
    using Wide = unsigned __int128;  // holds the product of three header fields
    const Wide cells = gridOf(source.header).cells();
    const Wide block = clr_block::kHeaderSize + clr_record::kSize * cells;
    const Wide announced = clr_header::kSize + block * source.header.GetBlockCount();
    if (length < announced) {
        problem.note(ReadProblemKind::CutShort, source.name, length);
    } else if (length - announced >= block) {
        problem.note(ReadProblemKind::LeftOver, source.name, static_cast<std::uint64_t>(announced));
    }
}

CLRPlainCells::CLRPlainCells(const std::vector<CLRSource>& sources, const ColumnRange& lines,
                             FirstProblem& problem)
    : m_errors(problem.readErrors()),
      m_merge(rangeTableFor(sources.front().header.GetModelName())) {
    for (const CLRSource& source : sources)
        addFile(source, problem);
    const std::uint64_t rows = gridOf(sources.front().header).rows;
    m_cellCount = std::min(m_cellCount, lines.end * rows);
    m_done = std::min(m_cellCount, lines.first * rows);
}

void CLRPlainCells::addFile(const CLRSource& source, FirstProblem& problem) {
    const std::uint64_t length = fileLength(source.file, m_errors);
    const std::uint64_t cells = gridOf(source.header).cells();
    noteWrongLength(source, length, problem);
    if (cells == 0 || length <= clr_header::kSize) return;
    // A block whose size does not even fit into a number is the only one that starts in the file.
    constexpr std::uint64_t kEndless = std::uint64_t{1} << 63;
    m_blockSize =
        checkedMultiply(cells, clr_record::kSize).value_or(kEndless) + clr_block::kHeaderSize;
    // A block that starts after the end of the file holds nothing, nor does a cell whose record in
    // the first block lies there.
    const std::uint64_t blocksInFile = divideRoundingUp(length - clr_header::kSize, m_blockSize);
    const std::uint64_t blocks =
        std::min<std::uint64_t>(source.header.GetBlockCount(), blocksInFile);
    if (blocks == 0) return;
    if (m_blockCount == 0) {
        const std::uint64_t recordBytes = length - clr_header::kSize - clr_block::kHeaderSize;
        m_cellCount = std::min(cells, recordBytes / clr_record::kSize);
    }
    m_files.push_back({source.file, m_blockCount});
    m_blockCount += blocks;
}

CLRPlainCells::Block CLRPlainCells::blockAt(std::uint64_t block) const {
    const auto after = std::upper_bound(
        m_files.begin(), m_files.end(), block,
        [](std::uint64_t number, const File& file) { return number < file.firstBlock; });
    const File& file = *std::prev(after);
    return {file.file, clr_header::kSize + (block - file.firstBlock) * m_blockSize};
}

/// Records that the file lacks are empty cells.
void CLRPlainCells::readRun(const Block& block, std::size_t cells, std::vector<RawRecord>& out) {
    out.resize(cells);
    const std::uint64_t offset = block.start + clr_block::kHeaderSize + m_done * clr_record::kSize;
    const std::size_t got =
        readAt(block.file, offset, out.data(), cells * clr_record::kSize, m_errors);
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(got / clr_record::kSize), out.end(),
              RawRecord{});
}

/// The flag of a block, read when its first run is. Kept where more runs follow: such blocks are large,
/// so that there are few.
std::uint8_t CLRPlainCells::flagOf(std::uint64_t number, const Block& block) {
    if (number < m_flags.size()) return m_flags[number];
    std::uint8_t flag = 0;
    readAt(block.file, block.start, &flag, sizeof flag, m_errors);
    if (m_cellCount > kRunCells) m_flags.push_back(flag);
    return flag;
}

void CLRPlainCells::mergeRun(std::size_t cells) {
    m_merge.start(cells);
    for (std::uint64_t number = 0; number < m_blockCount; ++number) {
        const Block block = blockAt(number);
        const std::uint8_t flag = flagOf(number, block);
        readRun(block, cells, m_run);
        m_merge.add(m_run.data(), flag);
    }
}

std::size_t CLRPlainCells::nextRun() {
    if (m_blockCount == 0) return 0;
    const auto cells = static_cast<std::size_t>(std::min(kRunCells, m_cellCount - m_done));
    if (m_blockCount == 1) {
        readRun(blockAt(0), cells, m_run);
        m_cells = m_run.data();
    } else {
        mergeRun(cells);
        m_cells = m_merge.merged();
    }
    m_done += cells;
    return cells;
}

}  // namespace

std::unique_ptr<CLRCells> openPlainCells(const std::vector<CLRSource>& sources,
                                         const ColumnRange& lines, FirstProblem& problem) {
    return std::make_unique<CLRPlainCells>(sources, lines, problem);
}

}  // namespace brisko
