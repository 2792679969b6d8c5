#include "repair/tile_walk.h"

#include "common/message.h"
#include "repair/salvage.h"
#include "scan/cl3_record.h"
#include "scan/native_layout.h"

#include <algorithm>
#include <initializer_list>

namespace brisko::tool {

TileWalk::TileWalk(const std::string& scan, unsigned pointFormat, const std::string& index)
    : m_scanPath(scan),
      m_indexPath(index),
      m_scan(scan),
      m_index(index),
      m_format(pointFormat),
      m_recordSize(cl3::kRecordSizes[pointFormat]) {
    m_problem = readHeader();
    if (m_problem.empty() && !belongsToScan()) m_problem = "it belongs to another scan";
}

std::string TileWalk::readHeader() {
    constexpr std::uint32_t kLargestTile = 4096;  // cells; the entries of a tile are kept
    const std::uint8_t* const header = m_index.take(ij_header::kSize);
    if (!header) return "it ends inside its header";
    m_columns = loadU32(header + 36);
    m_rows = loadU32(header + 40);
    m_tileSize = loadU32(header + 44);
    if (m_tileSize == 0 || m_tileSize > kLargestTile) {
        return "tile size " + std::to_string(m_tileSize);
    }
    // The number of tiles follows from the grid, whatever stands in its place.
    m_tilesDown = divideRoundingUp(m_rows, m_tileSize);
    m_tiles = divideRoundingUp(m_columns, m_tileSize) * m_tilesDown;
    if (!isInProportion(static_cast<unsigned __int128>(m_tiles) * ij::tileBytes(m_tileSize),
                        bytes())) {
        return "it claims a grid of " + std::to_string(m_columns) + " x " + std::to_string(m_rows) +
               " cells";
    }
    return "";
}

std::uint64_t TileWalk::tileOffset(std::uint64_t tile) const {
    return ij_header::kSize + tile * ij::tileBytes(m_tileSize);
}

bool TileWalk::announcedPoints(std::uint64_t tile, std::uint32_t& points) {
    m_index.seek(tileOffset(tile));
    const std::uint8_t* const header =
        tile < m_tiles ? m_index.peek(ij_tile::kHeaderSize) : nullptr;
    if (header) points = loadU32(header + 8);
    return header != nullptr;
}

bool TileWalk::announcedRecords(std::uint64_t offset, std::uint32_t& records) {
    m_scan.seek(offset);
    const std::uint8_t* const header = m_scan.peek(cl3_block::kHeaderSize);
    if (header) records = loadU32(header);
    return header != nullptr;
}

/// An index of another scan agrees with hardly any block.
bool TileWalk::belongsToScan() {
    constexpr std::uint64_t kEnough = 64;  // tiles with points
    std::uint64_t looked = 0, agreeing = 0, block = cl3_header::kSize;
    for (std::uint64_t tile = 0; tile < m_tiles && looked < kEnough; ++tile) {
        std::uint32_t points = 0, records = 0;
        if (!announcedPoints(tile, points) || !announcedRecords(block, records)) break;
        if (points > 0 || records > 0) {
            ++looked;
            agreeing += points == records;
        }
        block += cl3_block::kHeaderSize + points * m_recordSize;
    }
    return looked <= 1 || 2 * agreeing >= looked;
}

std::uint64_t TileWalk::wholeRecords(std::uint64_t block) const {
    const std::uint64_t first = block + cl3_block::kHeaderSize;
    return first < m_scan.size() ? (m_scan.size() - first) / m_recordSize : 0;
}

/// Whether a block of so many records ends where the next one begins.
bool TileWalk::leadsOn(std::uint64_t tile, std::uint64_t block, std::uint32_t records) {
    const std::uint64_t end = block + cl3_block::kHeaderSize + records * m_recordSize;
    if (end > m_scan.size()) return false;
    if (tile + 1 == m_tiles) return m_scan.size() - end <= cl3_block::kHeaderSize;
    std::uint32_t there = 0, expected = 0;
    return announcedRecords(end, there) && announcedPoints(tile + 1, expected) && there == expected;
}

/// How many records a block has: what the block says, the tile says, or its entries show.
std::uint32_t TileWalk::chooseRecords(std::uint64_t tile, std::uint64_t block) {
    std::uint32_t ofBlock = 0, ofTile = 0;
    announcedRecords(block, ofBlock);
    announcedPoints(tile, ofTile);
    const auto ofEntries = static_cast<std::uint32_t>(m_entries.size());
    if (ofBlock == ofTile) return ofBlock;
    if (ofTile > m_tileSize * m_tileSize) ofTile = ofEntries;  // more points than cells
    for (const std::uint32_t records : {ofBlock, ofTile, ofEntries}) {
        if (leadsOn(tile, block, records)) return records;
    }
    // With the next header damaged too, two against one.
    return ofTile == ofEntries || ofBlock > wholeRecords(block) ? ofTile : ofBlock;
}

/// The entries of a tile that stand for a point, as far as the index goes. False when it does not
/// reach the tile's end.
bool TileWalk::readEntries(std::uint64_t tile) {
    m_entries.clear();
    m_index.seek(tileOffset(tile) + ij_tile::kHeaderSize);
    const std::uint32_t cells = m_tileSize * m_tileSize;
    for (std::uint32_t cell = 0; cell < cells; ++cell) {
        const std::uint8_t* const bytes = m_index.take(kEntrySize);
        if (!bytes) return false;
        if (loadU32(bytes) != 0) m_entries.push_back({cell, loadU32(bytes)});
    }
    return true;
}

/// Entries number the points of a tile one after the other. Those that do not fit between their
/// neighbours are taken out.
void TileWalk::putInSequence() {
    std::uint64_t expected = 1;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        const Entry entry = m_entries[i];
        const bool isLast = i + 1 == m_entries.size();
        const std::uint64_t following = isLast ? 0 : m_entries[i + 1].number;
        // A number that is ahead is right when the next one goes on from it: some before it are
        // missing. Else it is damaged, and its point is that of the number which was expected.
        if (entry.number == expected ||
            (entry.number > expected && following == entry.number + 1u)) {
            expected = std::uint64_t{entry.number} + 1;
            m_entries[kept++] = entry;
        } else {
            ++expected;
            ++m_badEntries;
        }
    }
    m_entries.resize(kept);
}

void TileWalk::takeCells(std::uint64_t tile, std::uint64_t block, std::uint64_t records) {
    m_points.clear();
    std::uint64_t unreadable = 0, missing = 0;
    const auto firstColumn = static_cast<std::uint32_t>(tile / m_tilesDown * m_tileSize);
    const auto firstRow = static_cast<std::uint32_t>(tile % m_tilesDown * m_tileSize);
    for (const Entry& entry : m_entries) {
        if (entry.number > records) {
            ++missing;
            continue;
        }
        m_scan.seek(block + cl3_block::kHeaderSize + (entry.number - 1) * m_recordSize);
        CellPoint point;
        decodeCL3Record(m_scan.peek(m_recordSize), m_format, point);
        point.column = firstColumn + entry.cell / m_tileSize;
        point.row = firstRow + entry.cell % m_tileSize;
        if (!isPoint(point)) continue;
        if (isFinite(point)) {
            m_points.push_back(point);
        } else {
            ++unreadable;
        }
    }
    const std::uint64_t lost = missing + unreadable + m_badEntries;
    const std::uint64_t numbered = m_entries.size() + m_badEntries;
    const std::uint64_t homeless = records > numbered ? records - numbered : 0;
    m_salvage->lostCells += lost;
    m_salvage->lostRecords += unreadable + homeless;
    if (lost + homeless == 0) return;
    std::string text = countOf(lost, "cell") + " lost:";
    if (homeless > 0) text += " " + countOf(homeless, "record") + " without a cell;";
    if (missing > 0) text += " " + countOf(missing, "record") + " not in the file;";
    if (unreadable > 0) text += " " + countOf(unreadable, "record") + " without finite numbers;";
    if (m_badEntries > 0) text += " " + std::to_string(m_badEntries) + " entries out of sequence;";
    text.pop_back();
    m_salvage->losses.add({"cell", m_scanPath, tile, block, text});
}

/// The tiles from one on, whose blocks the scan does not reach.
void TileWalk::loseRest(std::uint64_t tile) {
    std::uint64_t lost = 0;
    for (std::uint64_t rest = tile; rest < m_tiles && readEntries(rest); ++rest) {
        throwIfInterrupted();
        lost += m_entries.size();
    }
    m_salvage->lostCells += lost;
    m_salvage->lostRecords += lost;
    m_salvage->losses.add({"cell", m_scanPath, tile, m_scan.size(),
                           countOf(lost, "cell") + " lost: the file does not reach the last " +
                               countOf(m_tiles - tile, "block")});
}

void TileWalk::run(Salvage& salvage, Progress& progress, const Sink& sink) {
    m_salvage = &salvage;
    std::uint64_t block = cl3_header::kSize;
    for (std::uint64_t tile = 0; tile < m_tiles; ++tile) {
        if (block >= m_scan.size()) return loseRest(tile);
        m_badEntries = 0;
        std::uint32_t ofTile = 0, ofBlock = 0;
        announcedRecords(block, ofBlock);
        const bool whole = announcedPoints(tile, ofTile) && readEntries(tile);
        const std::uint32_t records = chooseRecords(tile, block);
        putInSequence();
        if (whole && (records != ofTile || records != ofBlock)) {
            salvage.losses.add({"count", m_scanPath, tile, block,
                                "the block announces " + countOf(ofBlock, "record") +
                                    ", its tile " + std::to_string(ofTile) + "; " +
                                    std::to_string(records) + " taken"});
        }
        const std::uint64_t there = std::min<std::uint64_t>(records, wholeRecords(block));
        salvage.lostRecords += records - there;
        takeCells(tile, block, there);
        sink(m_points);
        block += cl3_block::kHeaderSize + records * m_recordSize;
        progress.advanceTo(std::min(block, m_scan.size()) +
                           std::min(tileOffset(tile + 1), m_index.size()));
        if (!whole) return loseIndex(tile);
    }
}

void TileWalk::loseIndex(std::uint64_t tile) {
    m_salvage->losses.add({"index", m_indexPath, tile, m_index.size(),
                           "the index ends here; the cells of what follows are not known (--plain "
                           "keeps the points, without cells)"});
}

}  // namespace brisko::tool
