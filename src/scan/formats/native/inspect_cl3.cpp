#include "scan/files/input_file.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/native_layout.h"
#include "scan/formats/native/scan_layout.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <filesystem>

namespace brisko::scan {
namespace {

/// Walks from block header to block header.
class Blocks {
public:
    Blocks(InputFile& file, std::uint64_t recordSize) : m_file(file), m_recordSize(recordSize) {}

    /// The point count of the next block; false when the file ends before the block does.
    bool next(std::uint32_t& points) {
        std::uint8_t header[cl3_block::kHeaderSize];
        if (!m_file.readAt(m_offset, header, sizeof header)) return false;
        points = loadU32(header);
        const std::uint64_t end = m_offset + cl3_block::kHeaderSize + points * m_recordSize;
        if (end > m_file.size()) return false;
        m_offset = end;
        ++m_count;
        return true;
    }
    std::uint64_t count() const { return m_count; }
    std::uint64_t offset() const { return m_offset; }

private:
    InputFile& m_file;
    std::uint64_t m_recordSize;
    std::uint64_t m_offset = cl3_header::kSize;
    std::uint64_t m_count = 0;
};

/// Reads the header of the index; empty, or what is wrong with it.
std::string readIndexHeader(InputFile& file, IndexLayout& index) {
    std::uint8_t header[ij_header::kSize];
    if (!file.readAt(0, header, sizeof header)) return "it ends inside its header";
    const IJHeader fields = decodeIJHeader(header);
    index.tiles = fields.blockCount;
    index.columns = fields.columns;
    index.rows = fields.rows;
    index.tileSize = fields.tileSize;
    const std::uint64_t bytesOfTile = ij::tileBytes(index.tileSize);
    if (bytesOfTile == 0) return "tile size " + std::to_string(index.tileSize);
    const std::uint64_t tiles = fields.columnTiles() * fields.rowTiles();
    const std::string grid = std::to_string(index.columns) + " x " + std::to_string(index.rows);
    if (tiles != index.tiles) {
        return "it announces " + countOf(index.tiles, "tile") + ", a grid of " + grid + " has " +
               std::to_string(tiles);
    }
    const std::uint64_t expected = ij_header::kSize + tiles * bytesOfTile;
    if (file.size() != expected) {
        return "it has " + std::to_string(file.size()) + " bytes, a grid of " + grid + " takes " +
               std::to_string(expected);
    }
    return "";
}

/// What a tile says of itself; the index's size was compared with its grid before.
IJTile readTile(InputFile& file, const IndexLayout& index, std::uint64_t tile) {
    std::uint8_t bytes[ij_tile::kHeaderSize] = {};
    file.readAt(ij_header::kSize + tile * ij::tileBytes(index.tileSize), bytes, sizeof bytes);
    return decodeIJTile(bytes);
}

/// Compares a tile with its place and with the block of the same number; empty, or what is wrong.
std::string tileProblem(InputFile& file, const IndexLayout& index, std::uint64_t tile,
                        std::uint32_t records) {
    if (tile >= index.tiles) {
        return "it has " + countOf(index.tiles, "tile") + ", the scan has a block " +
               std::to_string(tile);
    }
    const IJTile found = readTile(file, index, tile);
    const std::string name = "tile " + std::to_string(tile);
    const std::uint64_t tilesDown = divideRoundingUp(index.rows, index.tileSize);
    if (found.columnTile != tile / tilesDown || found.rowTile != tile % tilesDown) {
        return name + " claims the place " + std::to_string(found.columnTile) + ", " +
               std::to_string(found.rowTile) + " of another one";
    }
    if (found.pointCount == records) return "";
    return name + " has " + countOf(found.pointCount, "point") + ", block " + std::to_string(tile) +
           " of the scan has " + std::to_string(records) + "; the index belongs to another scan";
}

std::unique_ptr<CLFileHeader> headerOf(const std::string& path) {
    auto header = std::make_unique<CL3FileHeader>();
    readHeader(*header, path);
    return header;
}

/// Blocks and tiles in step: the k-th tile describes the k-th block.
void walk(InputFile& file, InputFile* indexFile, ScanLayout& layout) {
    const std::uint64_t recordSize = recordSizeOf(CL3PointFormat{layout.header->GetPointFormat()});
    const std::uint32_t announced = layout.header->GetBlockCount();
    Blocks blocks(file, recordSize);
    std::uint32_t points = 0;
    std::string indexProblem;
    while (blocks.count() < announced && blocks.next(points)) {
        layout.records += points;
        if (!indexFile) continue;
        layout.index->points += points;
        if (indexProblem.empty()) {
            indexProblem = tileProblem(*indexFile, *layout.index, blocks.count() - 1, points);
        }
    }
    if (!indexProblem.empty()) {
        layout.problems.push_back(layout.index->path + ": " + indexProblem +
                                  "; remove it to read the scan without a grid");
    }
    if (blocks.count() < announced) {
        layout.problems.insert(
            layout.problems.begin(),
            layout.path + ": the file ends inside block " + std::to_string(blocks.count()) +
                " of " + std::to_string(announced) + ", which begins at byte " +
                std::to_string(blocks.offset()) + "; it was not written to its end");
        return;
    }
    if (indexFile && layout.index->tiles > announced) {
        layout.problems.push_back(layout.index->path + ": it has " +
                                  countOf(layout.index->tiles, "tile") + ", the scan has " +
                                  countOf(announced, "block"));
    }
    const std::uint64_t left = file.size() - blocks.offset();
    std::uint8_t rest[cl3_block::kHeaderSize];
    const bool isShort = file.readAt(blocks.offset(), rest, sizeof rest);
    if (left == 0 || (isShort && cl3::isEmptyBlockHeader(rest, left))) return;
    layout.problems.insert(layout.problems.begin(),
                           layout.path + ": byte " + std::to_string(blocks.offset()) + ": " +
                               countOf(left, "byte") + " after the last of " +
                               countOf(announced, "announced block"));
}

/// The counts of a table instead of a walk. What was saved may be anything, also with a sound checksum.
void takeTable(const CL3TileTable& table, ScanLayout& layout) {
    const std::uint64_t recordSize = recordSizeOf(CL3PointFormat{layout.header->GetPointFormat()});
    const std::vector<CL3TileTable::Tile>& tiles = table.tiles();
    bool isOfScan = tiles.size() == layout.index->tiles &&
                    layout.index->tiles == layout.header->GetBlockCount();
    for (const CL3TileTable::Tile& tile : tiles) {
        layout.records += tile.points;
        isOfScan &=
            tile.scanOffset + cl3_block::kHeaderSize + tile.points * recordSize <= layout.bytes;
    }
    layout.index->points = layout.records;
    if (isOfScan) return;
    throw ScanError(ErrorKind::Request, layout.path, "the table of tiles is that of another scan",
                    "make the table again");
}

}  // namespace

ScanLayout inspectCL3(const std::string& path, const TileTable* tiles) {
    if (tiles) tiles->requireFit(path);
    InputFile file(path);
    ScanLayout layout;
    layout.path = path;
    layout.bytes = file.size();
    layout.header = headerOf(path);

    std::unique_ptr<InputFile> indexFile;
    const std::string indexPath = companionOf(path, ".ij");
    if (std::error_code ignored; std::filesystem::exists(indexPath, ignored)) {
        indexFile = std::make_unique<InputFile>(indexPath);
        layout.index.emplace();
        layout.index->path = indexPath;
        layout.index->bytes = indexFile->size();
        const std::string problem = readIndexHeader(*indexFile, *layout.index);
        if (!problem.empty()) {
            layout.problems.push_back(indexPath + ": " + problem +
                                      "; remove it to read the scan without a grid");
            indexFile.reset();
        }
        layout.columns = layout.index->columns;
        layout.rows = layout.index->rows;
    }
    const CL3PointFormat format{layout.header->GetPointFormat()};
    if (file.size() < cl3_header::kSize) {
        layout.problems.insert(layout.problems.begin(), path + ": the file ends inside its header");
    } else if (!isKnown(format)) {
        layout.problems.insert(layout.problems.begin(),
                               path + ": point format " +
                                   std::to_string(layout.header->GetPointFormat()) +
                                   " is not one of CL3 (0 or 1); is this a CL3 file?");
    } else if (tiles && indexFile) {
        takeTable(*tiles->tiles(), layout);
    } else {
        walk(file, indexFile.get(), layout);
    }
    addAngleProblem(layout);
    return layout;
}

}  // namespace brisko::scan
