#include "scan/integrity/tile_walk.h"

#include "base/bytes.h"
#include "layouts/ij_index.h"
#include "layouts/records.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/repair.h"

#include <brisko_scan/text.h>

#include <algorithm>
#include <initializer_list>

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

TileWalk::TileWalk(const std::string& scan, CL3PointFormat format, const std::string& index)
    : m_scanPath(scan),
      m_indexPath(index),
      m_scan(scan),
      m_index(index),
      m_scanCounts(scan),
      m_indexCounts(index),
      m_format(format),
      m_recordSize(recordSizeOf(format)) {
    m_problem = readHeader();
    if (m_problem.empty() && !belongsToScan()) m_problem = "it belongs to another scan";
}

std::string TileWalk::readHeader() {
    const std::uint8_t* const header = m_index.take(ij_header::kSize);
    if (!header) return "it ends inside its header";
    const IJHeader fields = decodeIJHeader(header);
    m_columns = fields.columns;
    m_rows = fields.rows;
    m_tileSize = fields.tileSize;
    if (ij::tileBytes(m_tileSize) == 0) {
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
    std::uint8_t header[ij_tile::kHeaderSize];
    if (tile >= m_tiles || !m_indexCounts.readAt(tileOffset(tile), header, sizeof header)) {
        return false;
    }
    points = decodeIJTile(header).pointCount;
    return true;
}

bool TileWalk::announcedRecords(std::uint64_t offset, std::uint32_t& records) {
    std::uint8_t header[cl3_block::kHeaderSize];
    if (!m_scanCounts.readAt(offset, header, sizeof header)) return false;
    records = loadU32(header + cl3_block::kPointCount);
    return true;
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
    const std::uint32_t ofEntries = m_entries;
    if (ofBlock == ofTile) return ofBlock;
    if (ofTile > m_tileSize * m_tileSize) ofTile = ofEntries;  // more points than cells
    for (const std::uint32_t records : {ofBlock, ofTile, ofEntries}) {
        if (leadsOn(tile, block, records)) return records;
    }
    // With the next header damaged too, two against one.
    return ofTile == ofEntries || ofBlock > wholeRecords(block) ? ofTile : ofBlock;
}

/// Visits the entries of a tile with the numbers of their neighbours. False when the index does not
/// reach the tile's end.
template <class Visit>
bool TileWalk::forEachEntry(std::uint64_t tile, const Visit& visit) {
    TileEntries entries(m_index, tileOffset(tile) + ij_tile::kHeaderSize, m_tileSize * m_tileSize);
    std::uint32_t before = 0;
    for (auto entry = entries.next(); entry;) {
        const auto following = entries.next();
        visit(before, *entry, following ? following->number : 0);
        before = entry->number;
        entry = following;
    }
    return entries.isWhole();
}

void TileWalk::countEntries(std::uint64_t tile) {
    m_entries = 0;
    m_tileIsWhole =
        forEachEntry(tile, [this](auto, const TileEntries::Entry&, auto) { ++m_entries; });
}

/// Takes the point of an entry; false when its numbers are not finite.
bool TileWalk::takeCell(std::uint64_t tile, std::uint64_t block, const TileEntries::Entry& entry) {
    m_scan.seek(block + cl3_block::kHeaderSize + (entry.number - 1) * m_recordSize);
    CellPoint point = decodeCellPoint(m_scan.peek(m_recordSize), m_format);
    point.column =
        static_cast<std::uint32_t>(tile / m_tilesDown * m_tileSize) + entry.cell / m_tileSize;
    point.row =
        static_cast<std::uint32_t>(tile % m_tilesDown * m_tileSize) + entry.cell % m_tileSize;
    if (!isMeasured(point)) return true;
    if (!isFinite(point)) return false;
    m_points.push_back(point);
    return true;
}

void TileWalk::takeCells(std::uint64_t tile, std::uint64_t block, std::uint64_t records,
                         const Sink& sink) {
    constexpr std::size_t kBatch = 1 << 15;  // points handed out at a time
    BelievedEntries believed(records);
    forEachEntry(tile, [&](std::uint32_t before, const TileEntries::Entry& entry,
                           std::uint32_t after) { believed.add(before, entry.number, after); });
    std::uint64_t unreadable = 0, missing = 0, doubtful = 0, taken = 0;
    m_points.clear();
    forEachEntry(tile,
                 [&](std::uint32_t before, const TileEntries::Entry& entry, std::uint32_t after) {
                     if (entry.number > records) {
                         ++missing;
                     } else if (!believed.isBelieved(before, entry.number, after)) {
                         ++doubtful;
                     } else if (++taken; !takeCell(tile, block, entry)) {
                         ++unreadable;
                     }
                     if (m_points.size() < kBatch) return;
                     sink(m_points);
                     m_points.clear();
                 });
    sink(m_points);
    const std::uint64_t lost = missing + unreadable + doubtful;
    const std::uint64_t homeless = records - taken;
    m_salvage->lostCells += lost;
    m_salvage->lostRecords += unreadable + homeless;
    if (lost + homeless == 0) return;
    std::string text = countOf(lost, "cell") + " lost:";
    if (homeless > 0) text += " " + countOf(homeless, "record") + " without a cell;";
    if (missing > 0) text += " " + countOf(missing, "record") + " not in the file;";
    if (unreadable > 0) text += " " + countOf(unreadable, "record") + " without finite numbers;";
    if (doubtful > 0)
        text += " " + std::to_string(doubtful) + " entries with the number of another;";
    text.pop_back();
    m_salvage->losses.add({"cell", m_scanPath, tile, block, text});
}

/// The tiles from one on, whose blocks the scan does not reach.
void TileWalk::loseRest(std::uint64_t tile, TaskProgress& progress) {
    std::uint64_t lost = 0;
    m_tileIsWhole = true;
    for (std::uint64_t rest = tile; rest < m_tiles && m_tileIsWhole; ++rest) {
        progress.advanceTo(m_scan.size() + tileOffset(rest));
        countEntries(rest);
        if (m_tileIsWhole) lost += m_entries;
    }
    m_salvage->lostCells += lost;
    m_salvage->lostRecords += lost;
    m_salvage->losses.add({"cell", m_scanPath, tile, m_scan.size(),
                           countOf(lost, "cell") + " lost: the file does not reach the last " +
                               countOf(m_tiles - tile, "block")});
}

void TileWalk::run(Salvage& salvage, TaskProgress& progress, const Sink& sink) {
    m_salvage = &salvage;
    std::uint64_t block = cl3_header::kSize;
    for (std::uint64_t tile = 0; tile < m_tiles; ++tile) {
        if (block >= m_scan.size()) return loseRest(tile, progress);
        std::uint32_t ofTile = 0, ofBlock = 0;
        announcedRecords(block, ofBlock);
        countEntries(tile);
        const bool whole = announcedPoints(tile, ofTile) && m_tileIsWhole;
        const std::uint32_t records = chooseRecords(tile, block);
        if (whole && (records != ofTile || records != ofBlock)) {
            salvage.losses.add({"count", m_scanPath, tile, block,
                                "the block announces " + countOf(ofBlock, "record") +
                                    ", its tile " + std::to_string(ofTile) + "; " +
                                    std::to_string(records) + " taken"});
        }
        const std::uint64_t there = std::min<std::uint64_t>(records, wholeRecords(block));
        salvage.lostRecords += records - there;
        takeCells(tile, block, there, sink);
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

}  // namespace brisko::scan
