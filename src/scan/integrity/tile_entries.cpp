#include "scan/integrity/tile_entries.h"

#include "base/bytes.h"
#include "layouts/ij_index.h"

#include <algorithm>

namespace brisko::scan {
namespace {

bool isInSequence(std::uint32_t before, std::uint32_t number, std::uint32_t after) {
    return number == std::uint64_t{before} + 1 || after == std::uint64_t{number} + 1;
}

void countUpToTwo(std::uint8_t& count) {
    count = static_cast<std::uint8_t>(std::min(count + 1, 2));
}

}  // namespace

TileEntries::TileEntries(ByteStream& index, std::uint64_t offset, std::uint32_t cells)
    : m_index(index), m_cells(cells) {
    m_index.seek(offset);
}

/// Takes the next entries from the file, as many as fit into its buffer. False at the end of the tile
/// or of the file.
bool TileEntries::nextRun() {
    constexpr std::uint64_t kMost = ByteStream::kMost / 4 / kEntrySize;
    const std::uint64_t there = std::min(m_index.left() / kEntrySize, kMost);
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(there, m_cells - m_cell));
    if (count == 0) return false;
    m_entry = m_index.take(count * kEntrySize);
    m_runEnd = m_cell + count;
    return true;
}

std::optional<TileEntries::Entry> TileEntries::next() {
    while (m_cell < m_runEnd || nextRun()) {
        const std::uint32_t number = loadU32(m_entry);
        const std::uint32_t cell = m_cell++;
        m_entry += kEntrySize;
        if (number != 0) return Entry{cell, number};
    }
    return {};
}

void BelievedEntries::add(std::uint32_t before, std::uint32_t number, std::uint32_t after) {
    if (number >= m_seen.size()) return;
    countUpToTwo(m_seen[number].times);
    if (isInSequence(before, number, after)) countUpToTwo(m_seen[number].inSequence);
}

bool BelievedEntries::isBelieved(std::uint32_t before, std::uint32_t number,
                                 std::uint32_t after) const {
    if (number >= m_seen.size()) return false;
    const Seen& seen = m_seen[number];
    return seen.times == 1 || (seen.inSequence == 1 && isInSequence(before, number, after));
}

}  // namespace brisko::scan
