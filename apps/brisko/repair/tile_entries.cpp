#include "repair/tile_entries.h"

#include "base/bytes.h"
#include "layouts/ij_index.h"

#include <algorithm>

namespace brisko::tool {
namespace {

bool isInSequence(std::uint32_t before, std::uint32_t number, std::uint32_t after) {
    return number == std::uint64_t{before} + 1 || after == std::uint64_t{number} + 1;
}

void countUpToTwo(std::uint8_t& count) {
    count = static_cast<std::uint8_t>(std::min(count + 1, 2));
}

}  // namespace

TileEntries::TileEntries(ByteStream& index, std::uint64_t offset, std::uint32_t cells)
    : m_index(index), m_offset(offset), m_cells(cells) {
}

std::optional<TileEntries::Entry> TileEntries::next() {
    while (m_cell < m_cells) {
        m_index.seek(m_offset + std::uint64_t{m_cell} * kEntrySize);
        const std::uint8_t* const bytes = m_index.peek(kEntrySize);
        if (!bytes) return {};
        const std::uint32_t cell = m_cell++;
        if (const std::uint32_t number = loadU32(bytes)) return Entry{cell, number};
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

}  // namespace brisko::tool
