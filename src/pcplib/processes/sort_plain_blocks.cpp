#include "layouts/layout.h"
#include "pcplib/processes/clr_copy.h"
#include "pcplib/processes/scan_line.h"
#include "pcplib/processes/sorted_lines.h"

#include <algorithm>
#include <limits>
#include <span>
#include <vector>

namespace QelPcpLib {

namespace clr_record = brisko::clr_record;

namespace {

/// The lines of plain blocks, one block after the other.
class PlainLines {
public:
    explicit PlainLines(ClrCopy& copy)
        : m_copy(copy),
          m_lineSize(static_cast<std::size_t>(copy.grid.rows * clr_record::kSize)),
          m_lines(copy.output, copy.outputPath, copy.grid.rows, copy.progress) {}

    bool sortBlock();
    bool good() const { return m_fits && m_lines.good() && m_copy.good(); }

private:
    void turnWholeLines(std::span<std::uint8_t> bytes, std::uint64_t firstLine);
    bool sortLongOrCutLine(std::uint64_t k);

    ClrCopy& m_copy;
    std::size_t m_lineSize;
    SortedLines m_lines;
    bool m_fits = true;  // what a cut line lacks
};

/// Returns false when the scan ends inside the block, or nothing can be written any more.
bool PlainLines::sortBlock() {
    const std::uint64_t columns = m_copy.grid.columns;
    for (std::uint64_t k = 0; k < columns;) {
        const auto bytes = m_copy.input.atLeast(std::min(m_lineSize, m_copy.input.capacity()));
        const auto lines = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size() / m_lineSize, columns - k));
        if (lines > 0) {
            turnWholeLines(bytes.first(lines * m_lineSize), k);
            k += lines;
        } else if (!sortLongOrCutLine(k++)) {
            return false;
        }
        m_copy.progress.reach(m_copy.input.position());
        if (!good()) return false;
    }
    return true;
}

/// Turns lines where they lie in the window, and writes them in one go.
void PlainLines::turnWholeLines(std::span<std::uint8_t> bytes, std::uint64_t firstLine) {
    const auto rows = static_cast<std::size_t>(m_copy.grid.rows);
    std::uint64_t k = firstLine;
    for (std::size_t at = 0; at < bytes.size(); at += m_lineSize, ++k) {
        std::uint8_t* const line = bytes.data() + at;
        if (runsAgainstOrder(k, ClassifyLine(line, rows))) ReverseLine(line, rows);
    }
    m_copy.output.append(bytes);
    m_copy.input.skip(bytes.size());
}

/// A line that the window does not hold as a whole. Returns false when the scan ends in it; a line
/// that has not even begun there is not written.
bool PlainLines::sortLongOrCutLine(std::uint64_t k) {
    bool ended = false;
    while (m_lines.missing() > 0 && !ended && m_copy.good()) {
        const auto bytes = m_copy.input.atLeast(clr_record::kSize);
        ended = bytes.size() < clr_record::kSize;
        if (!bytes.empty()) m_copy.input.skip(m_lines.add(bytes));
        m_copy.progress.reach(m_copy.input.position());
    }
    if (m_lines.isEmpty()) return false;
    m_fits = m_copy.hasRoomFor(m_lines.missing() * clr_record::kSize);
    if (!good()) return false;
    m_lines.finishLine(k);
    return !ended;
}

}  // namespace

bool sortPlainBlocks(ClrCopy& copy) {
    const std::uint64_t lineSize = copy.grid.rows * clr_record::kSize;
    const std::uint32_t blocks = copy.header.GetBlockCount();
    if (blocks > 0 && lineSize > std::numeric_limits<std::uint32_t>::max()) return false;
    PlainLines lines(copy);
    for (std::uint32_t block = 0; block < blocks; ++block) {
        if (!copy.copyBlockFlag() || !lines.sortBlock()) break;
    }
    return lines.good();
}

}  // namespace QelPcpLib
