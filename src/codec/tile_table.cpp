#include <brisko_codec/cell_reader.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"

namespace brisko {

namespace {

namespace tile_table {                            // size  meaning
constexpr std::size_t kTag = 0;                   //    4  "BTT1"
constexpr std::size_t kScanBytes = 4;             //    8  of scan.cl3
constexpr std::size_t kIndexBytes = 12;           //    8  of scan.ij
constexpr std::size_t kColumns = 20;              //    4  of the grid
constexpr std::size_t kRows = 24;                 //    4
constexpr std::size_t kTileSize = 28;             //    4  edge of a tile in cells
constexpr std::size_t kRecordSize = 32;           //    4  bytes of a record in scan.cl3
constexpr std::size_t kHeaderSize = 36;           //       then the points of each tile
constexpr std::size_t kTileBytes = 4;             //    4
constexpr std::uint32_t kTagValue = 0x31545442U;  // "BTT1"
}  // namespace tile_table

}  // namespace

void CL3TileTable::add(std::uint32_t points) {
    Tile tile{cl3_header::kSize, ij_header::kSize, points};
    if (!m_tiles.empty()) {
        const Tile& before = m_tiles.back();
        tile.scanOffset = before.scanOffset + cl3_block::kHeaderSize +
                          std::uint64_t{before.points} * m_files.recordSize;
        tile.indexOffset = before.indexOffset + ijTileBytes(m_files.tileSize);
    }
    m_tiles.push_back(tile);
}

std::vector<std::uint8_t> CL3TileTable::toBytes() const {
    namespace t = tile_table;
    std::vector<std::uint8_t> bytes(t::kHeaderSize + m_tiles.size() * t::kTileBytes);
    std::uint8_t* const out = bytes.data();
    storeU32(out + t::kTag, t::kTagValue);
    store(out + t::kScanBytes, m_files.scanBytes);
    store(out + t::kIndexBytes, m_files.indexBytes);
    storeU32(out + t::kColumns, m_files.columns);
    storeU32(out + t::kRows, m_files.rows);
    storeU32(out + t::kTileSize, m_files.tileSize);
    storeU32(out + t::kRecordSize, m_files.recordSize);
    for (std::size_t i = 0; i < m_tiles.size(); ++i)
        storeU32(out + t::kHeaderSize + i * t::kTileBytes, m_tiles[i].points);
    return bytes;
}

bool CL3TileTable::fromBytes(const std::uint8_t* bytes, std::size_t size) {
    namespace t = tile_table;
    if (!bytes || size < t::kHeaderSize || loadU32(bytes + t::kTag) != t::kTagValue) return false;
    CL3TileTable table;
    Files& files = table.m_files;
    files.scanBytes = load<std::uint64_t>(bytes + t::kScanBytes);
    files.indexBytes = load<std::uint64_t>(bytes + t::kIndexBytes);
    files.columns = loadU32(bytes + t::kColumns);
    files.rows = loadU32(bytes + t::kRows);
    files.tileSize = loadU32(bytes + t::kTileSize);
    files.recordSize = loadU32(bytes + t::kRecordSize);
    const bool isUsable = files.tileSize != 0 && files.tileSize <= kLargestTileSize;
    const IJHeader grid{.columns = files.columns, .rows = files.rows, .tileSize = files.tileSize};
    const auto count =
        isUsable ? checkedMultiply(grid.columnTiles(), grid.rowTiles()) : std::nullopt;
    if (!count || (size - t::kHeaderSize) % t::kTileBytes != 0 ||
        *count != (size - t::kHeaderSize) / t::kTileBytes) {
        return false;
    }
    for (std::size_t at = t::kHeaderSize; at < size; at += t::kTileBytes)
        table.add(loadU32(bytes + at));
    *this = std::move(table);
    return true;
}

}  // namespace brisko
