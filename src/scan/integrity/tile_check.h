#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/scan_check.h"

#include <cstdint>
#include <optional>
#include <string>

namespace brisko::scan {

/// Goes through an index tile by tile: places, counts, and entries that number the points of their
/// block 1, 2, 3 and so on.
class TileCheck {
public:
    /// Checks the header of the index.
    TileCheck(ScanCheck& check, const std::string& path);

    std::uint64_t size() const { return m_stream.size(); }
    std::uint64_t offset() const { return m_stream.offset(); }
    /// Of a tile; 0 when no tile can be walked.
    std::uint64_t tileBytes() const { return ij::tileBytes(m_tileSize); }

    /// Goes on to the next tile and checks it in itself. False after the last one, or when what
    /// follows cannot be walked.
    bool next();
    /// Makes a tile the next one.
    void startAt(std::uint64_t tile);
    /// The same for one whose predecessors others go through: where the file ends inside one of these, no tile
    /// follows.
    void continueAt(std::uint64_t tile);
    /// From here on tiles from there on are not read ahead.
    void readUpTo(std::uint64_t tile) { m_stream.readUpTo(beginOf(tile)); }
    /// The tile against the record count of its block.
    void compareWithBlock(std::uint32_t records);
    /// The tile has no block.
    void compareWithoutBlock();
    /// The number of tiles against that of the blocks.
    void compareCount(std::uint32_t blocks);

private:
    void add(const char* kind, std::optional<std::uint64_t> tile, std::uint64_t offset,
             const std::string& text);
    bool checkHeader();
    std::uint64_t beginOf(std::uint64_t tile) const;
    void checkEntries(std::uint32_t announced);

    ScanCheck& m_check;
    std::string m_path;
    ByteStream m_stream;
    std::uint32_t m_tileSize = 0;
    std::uint64_t m_tiles = 0;
    std::uint64_t m_tilesDown = 0;  // of a column of tiles
    std::uint64_t m_next = 0;
    std::uint64_t m_begin = 0;    // of the tile
    std::uint32_t m_entries = 0;  // of the tile that stand for a point
    bool m_hasSoundHeader;        // it fills in the members above
    bool m_walks;                 // no tile was missing so far
};

/// The first thing that is wrong with the tiles of an index in themselves; nothing in a sound one.
/// Throws ScanError(Cancelled).
std::optional<Finding> firstTileFinding(const std::string& scan, const std::string& index,
                                        const ProgressFunction& progress);

}  // namespace brisko::scan
