#include "scan/integrity/tile_check.h"

#include <brisko_scan/text.h>

#include <algorithm>
#include <optional>

namespace brisko::scan {

TileCheck::TileCheck(ScanCheck& check, const std::string& path)
    : m_check(check),
      m_path(path),
      m_stream(path),
      m_hasSoundHeader(checkHeader()),
      m_walks(m_hasSoundHeader) {
}

void TileCheck::add(const char* kind, std::optional<std::uint64_t> tile, std::uint64_t offset,
                    const std::string& text) {
    m_check.findings.add({kind, m_path, tile, offset, text});
}

bool TileCheck::checkHeader() {
    const std::uint8_t* const header = m_stream.take(ij_header::kSize);
    if (!header) {
        add("index", {}, m_stream.size(), "the file ends inside its header");
        return false;
    }
    const IJHeader fields = decodeIJHeader(header);
    m_tiles = fields.blockCount;
    m_tileSize = fields.tileSize;
    const std::uint64_t bytesOfTile = ij::tileBytes(m_tileSize);
    if (bytesOfTile == 0) {
        add("index", {}, 44, "tile size " + std::to_string(m_tileSize));
        return false;
    }
    m_tilesDown = fields.rowTiles();
    const std::uint64_t tiles = fields.columnTiles() * m_tilesDown;
    if (tiles != m_tiles) {
        add("index", {}, 32,
            "it announces " + countOf(m_tiles, "tile") + ", a grid of " +
                std::to_string(fields.columns) + " x " + std::to_string(fields.rows) + " has " +
                std::to_string(tiles));
        return false;
    }
    if (m_stream.size() > ij_header::kSize + tiles * bytesOfTile) {
        add("index", {}, ij_header::kSize + tiles * bytesOfTile,
            countOf(m_stream.size() - ij_header::kSize - tiles * bytesOfTile, "byte") +
                " after its last tile");
    }
    return true;
}

void TileCheck::startAt(std::uint64_t tile) {
    m_next = tile;
    m_stream.seek(beginOf(tile));
}

std::uint64_t TileCheck::beginOf(std::uint64_t tile) const {
    return ij_header::kSize + tile * ij::tileBytes(m_tileSize);
}

void TileCheck::continueAt(std::uint64_t tile) {
    const std::uint64_t bytes = tileBytes();
    if (!m_hasSoundHeader || bytes == 0) return;
    const std::uint64_t tilesThere =
        std::min((m_stream.size() - ij_header::kSize) / bytes, m_tiles);
    m_walks = std::min(tile, m_tiles) <= tilesThere;
    startAt(std::min(tile, tilesThere));
}

bool TileCheck::next() {
    if (!m_walks || m_next == m_tiles) return false;
    m_begin = m_stream.offset();
    const std::uint8_t* const header = m_stream.peek(ij_tile::kHeaderSize);
    if (!header || m_stream.left() < ij::tileBytes(m_tileSize)) {
        add("index", m_next, m_begin,
            "the file ends inside its tile; the index has " + countOf(m_tiles, "tile"));
        m_walks = false;
        return false;
    }
    const IJTile tile = decodeIJTile(header);
    if (tile.columnTile != m_next / m_tilesDown || tile.rowTile != m_next % m_tilesDown) {
        add("index", m_next, m_begin,
            "its tile claims the place " + std::to_string(tile.columnTile) + ", " +
                std::to_string(tile.rowTile) + ", it stands at " +
                std::to_string(m_next / m_tilesDown) + ", " + std::to_string(m_next % m_tilesDown));
    }
    m_stream.take(ij_tile::kHeaderSize);
    checkEntries(tile.pointCount);
    ++m_next;
    return true;
}

namespace {

/// How many entries stand for a point, where these are numbered from the next one on; nothing where they are not.
/// Without a branch for each cell: whether one has a point is hard to guess.
std::optional<std::uint32_t> countInOrder(const std::uint8_t* entries, std::uint64_t bytes,
                                          std::uint32_t before) {
    std::uint32_t last = before, wrong = 0;
    for (std::uint64_t at = 0; at < bytes; at += kEntrySize) {
        const std::uint32_t entry = loadU32(entries + at);
        const std::uint32_t isPoint = entry != 0 ? 1 : 0;
        last += isPoint;
        wrong |= (entry ^ last) & (0 - isPoint);
    }
    if (wrong != 0) return {};
    return last - before;
}

}  // namespace

/// Entries that number something else than the next point each are counted as one: after a single
/// one that is missing all the others are shifted.
void TileCheck::checkEntries(std::uint32_t announced) {
    m_entries = 0;
    bool inOrder = true;
    std::uint64_t left = ij::tileBytes(m_tileSize) - ij_tile::kHeaderSize;
    while (left > 0) {
        const std::uint64_t some = std::min<std::uint64_t>(left, ByteStream::kMost / 2);
        const std::uint64_t begin = m_stream.offset();
        const std::uint8_t* const bytes = m_stream.take(some);
        left -= some;
        const auto inStep = inOrder ? countInOrder(bytes, some, m_entries) : std::nullopt;
        if (inStep) {
            m_entries += *inStep;
            continue;
        }
        for (std::uint64_t at = 0; at < some; at += kEntrySize) {
            const std::uint32_t entry = loadU32(bytes + at);
            if (entry == 0) continue;
            ++m_entries;
            if (entry == m_entries || !inOrder) continue;
            inOrder = false;
            add("entry", m_next, begin + at,
                "entry " + std::to_string(entry) + " where " + std::to_string(m_entries) +
                    " is next");
        }
    }
    if (m_entries != announced) {
        add("entry", m_next, m_begin + 8,
            "the tile announces " + countOf(announced, "point") + ", it has " +
                std::to_string(m_entries) + (m_entries == 1 ? " entry" : " entries"));
    }
}

void TileCheck::compareWithBlock(std::uint32_t records) {
    if (m_entries == records) return;
    add("index", m_next - 1, m_begin,
        std::to_string(m_entries) + " entries for " + countOf(records, "record") + " of the block");
}

void TileCheck::compareWithoutBlock() {
    if (m_entries == 0) return;
    add("index", m_next - 1, m_begin,
        std::to_string(m_entries) + " entries for a block that the scan does not have");
}

void TileCheck::compareCount(std::uint32_t blocks) {
    if (!m_walks || m_tiles == blocks) return;
    add("index", {}, 32,
        countOf(m_tiles, "tile") + " for " + countOf(blocks, "block") + " of the scan");
}

std::optional<Finding> firstTileFinding(const std::string& scan, const std::string& index,
                                        const ProgressFunction& progress) {
    ScanCheck check(1);
    check.path = scan;
    TileCheck tiles(check, index);
    while (tiles.next())
        requireGoingOn(progress);
    if (check.findings.empty()) return {};
    return check.findings.kept().front();
}

}  // namespace brisko::scan
