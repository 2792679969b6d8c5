#pragma once

#include "scan/files/input_file.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace brisko::scan {

/// The entries of one tile of an index that stand for a point, in the order of its cells.
class TileEntries {
public:
    struct Entry {
        std::uint32_t cell = 0;    // within the tile
        std::uint32_t number = 0;  // of the record, from 1; never 0
    };

    /// The index is read by nothing else until the last entry is taken.
    ///   offset  of the first entry in the index
    TileEntries(ByteStream& index, std::uint64_t offset, std::uint32_t cells);

    /// Nothing at the end of the tile or of the file.
    std::optional<Entry> next();
    /// After the last entry: whether the file holds the tile to its end.
    bool isWhole() const { return m_cell == m_cells; }

private:
    bool nextRun();

    ByteStream& m_index;
    std::uint32_t m_cells;
    std::uint32_t m_cell = 0;
    std::uint32_t m_runEnd = 0;             // the cell after those at hand
    const std::uint8_t* m_entry = nullptr;  // of the cell
};

/// Which entries of a damaged tile can be believed. Any order of the numbers is honoured: an entry
/// says which record is its cell's. A number that stands in several cells is believed where it
/// follows the number before it, or the next one follows it, and nowhere when that is the case more
/// than once.
class BelievedEntries {
public:
    /// records: how many the block holds in the file
    explicit BelievedEntries(std::uint64_t records) : m_seen(records + 1) {}

    /// First all entries of the tile are added, then each is asked for, in the same order.
    ///   before, after  the numbers of its neighbours; 0 where there is none
    void add(std::uint32_t before, std::uint32_t number, std::uint32_t after);
    bool isBelieved(std::uint32_t before, std::uint32_t number, std::uint32_t after) const;

private:
    struct Seen {
        std::uint8_t times = 0;       // 2: twice or more often
        std::uint8_t inSequence = 0;  // the same, among these
    };
    std::vector<Seen> m_seen;  // by number
};

}  // namespace brisko::scan
