#include "base/checked.h"
#include "base/file.h"
#include "codec/actual_cl3_codec.h"
#include "layouts/layout.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace brisko {

namespace {

/// The most records of a stretch.
constexpr std::uint32_t kStretch = 65'536;
/// What is read at once: it stays in the processor's cache.
constexpr std::size_t kReadBytes = std::size_t{128} << 10;
/// Scans of smaller blocks are read faster in one go.
constexpr std::uint64_t kSmallestBlock = std::uint64_t{16} << 10;

/// The files of a scan that is read apart, as a pass finds them that has just begun.
struct Files {
    std::FILE* scan = nullptr;
    std::uint64_t scanBytes = 0;
    std::size_t recordSize = 0;
    std::uint32_t blocks = 0;
    std::FILE* index = nullptr;  // null where none is walked
    IJHeader grid;
};

/// Records that follow each other in a block, and the block's tile where they are its first.
struct Stretch {
    std::uint64_t offset = 0;
    std::uint32_t records = 0;
    std::uint32_t block = 0;
    std::uint32_t blockRecords = 0;
    bool isFirst = false;  // of its block

    std::vector<std::uint8_t> bytes;
    PointBounds bounds;
    bool isSound = false;
};

/// Cuts a scan into stretches by the headers of its blocks.
class Stretches {
public:
    explicit Stretches(const Files& files) : m_files(files) {}

    /// False after the last one, and where the file has no whole block.
    bool next(Stretch& stretch) {
        stretch.isFirst = m_left == 0;
        if (stretch.isFirst && !nextBlock()) return false;
        stretch.block = m_block - 1;
        stretch.blockRecords = m_records;
        stretch.offset = m_offset;
        stretch.records = std::min(m_left, kStretch);
        m_left -= stretch.records;
        m_offset += std::uint64_t{stretch.records} * m_files.recordSize;
        return true;
    }

    /// After the last one: whether the blocks are all there, and nothing after them. A plain writer leaves
    /// one empty block header after a last block that is full.
    bool isWhole() const {
        if (m_block != m_files.blocks || m_left != 0) return false;
        if (m_offset == m_files.scanBytes) return true;
        std::uint8_t rest[cl3_block::kHeaderSize] = {};
        return m_offset + sizeof rest == m_files.scanBytes &&
               readAt(m_files.scan, m_offset, rest, sizeof rest) == sizeof rest &&
               std::all_of(std::begin(rest), std::end(rest), [](auto byte) { return byte == 0; });
    }

private:
    bool nextBlock() {
        std::uint8_t header[cl3_block::kHeaderSize];
        if (m_block == m_files.blocks ||
            readAt(m_files.scan, m_offset, header, sizeof header) != sizeof header) {
            return false;
        }
        const std::uint64_t begin = m_offset + sizeof header;
        const std::uint32_t records = loadU32(header + cl3_block::kPointCount);
        if ((m_files.scanBytes - begin) / m_files.recordSize < records) return false;
        ++m_block;
        m_offset = begin;
        m_records = m_left = records;
        return true;
    }

    const Files& m_files;
    std::uint64_t m_offset = cl3_header::kSize;
    std::uint32_t m_block = 0;    // blocks begun
    std::uint32_t m_records = 0;  // of the block
    std::uint32_t m_left = 0;     // of them
};

/// Reads so many items at an offset, a few at a time. False where they are not there, or `take` does not
/// want them.
///   take  is given bytes and the number of items in them
template <class Take>
bool readItems(std::FILE* file, std::uint64_t offset, std::uint64_t items, std::size_t itemSize,
               std::vector<std::uint8_t>& bytes, const Take& take) {
    bytes.resize(kReadBytes);
    while (items > 0) {
        const auto some =
            static_cast<std::size_t>(std::min<std::uint64_t>(items, kReadBytes / itemSize));
        const std::size_t size = some * itemSize;
        if (readAt(file, offset, bytes.data(), size) != size) return false;
        if (!take(bytes.data(), some)) return false;
        offset += size;
        items -= some;
    }
    return true;
}

bool readRecords(const Files& files, const AlignmentMatrix& matrix, Stretch& stretch) {
    stretch.bounds = {};
    const auto take = [&](const std::uint8_t* in, std::size_t count) {
        PointBounds bounds;
        for (const std::uint8_t* const end = in + count * files.recordSize; in != end;
             in += files.recordSize) {
            CL3Record record;
            decodeCL3Position(in, record);
            if (!isMeasured(record)) continue;
            matrix.apply(record.x, record.y, record.z);
            bounds.add({record.x, record.y, record.z});
        }
        stretch.bounds.add(bounds);
        return true;
    };
    return readItems(files.scan, stretch.offset, stretch.records, files.recordSize, stretch.bytes,
                     take);
}

/// Whether the tile of a block stands in its place and numbers the records of the block.
bool isTileSound(const Files& files, Stretch& stretch) {
    const std::uint32_t edge = files.grid.tileSize;
    const std::uint64_t offset = ij_header::kSize + stretch.block * ijTileBytes(edge);
    std::uint8_t header[ij_tile::kHeaderSize];
    if (readAt(files.index, offset, header, sizeof header) != sizeof header) return false;
    const IJTile tile = decodeIJTile(header);
    const std::uint64_t rowTiles = files.grid.rowTiles();
    if (tile.columnTile != stretch.block / rowTiles || tile.rowTile != stretch.block % rowTiles ||
        tile.pointCount != stretch.blockRecords) {
        return false;
    }
    std::uint32_t seen = 0;
    const auto take = [&seen](const std::uint8_t* in, std::size_t count) {
        std::uint32_t outOfOrder = 0;
        for (const std::uint8_t* const end = in + count * kEntrySize; in != end; in += kEntrySize) {
            const std::uint32_t entry = loadU32(in);
            if (entry != 0) outOfOrder |= entry ^ ++seen;
        }
        return outOfOrder == 0;
    };
    return readItems(files.index, offset + ij_tile::kHeaderSize, std::uint64_t{edge} * edge,
                     kEntrySize, stretch.bytes, take) &&
           seen == stretch.blockRecords;
}

/// Whether an index has all of its tiles and nothing after them.
bool hasAllTiles(const Files& files) {
    const auto tiles = checkedMultiply(ijTileBytes(files.grid.tileSize), files.grid.blockCount);
    return tiles && checkedAdd(*tiles, ij_header::kSize) == fileLength(files.index);
}

std::optional<PointBounds> findBoundsOf(const Files& files, const AlignmentMatrix& matrix,
                                        std::size_t threads) {
    Stretches stretches(files);
    const auto fetch = [&](Stretch& stretch) { return stretches.next(stretch); };
    const auto work = [&](Stretch& stretch) {
        const bool hasTile = files.index && stretch.isFirst;
        stretch.isSound =
            (!hasTile || isTileSound(files, stretch)) && readRecords(files, matrix, stretch);
    };
    PiecesAhead<Stretch> ahead(threads, fetch, work);
    const auto bounds = joinBounds(ahead);
    return bounds && stretches.isWhole() ? bounds : std::nullopt;
}

}  // namespace

std::optional<PointBounds> ActualCL3Codec::findBoundsApart(std::size_t threads) {
    const std::uint64_t bytes = fileLength(stream());
    if (bytes < kWorthwhileBounds * cl3_record::kSize0 || !Rewind() || readProblem()) return {};
    Files files{stream(), bytes, m_record->GetSize(), m_records.blockCount(), nullptr, {}};
    std::uint64_t allBytes = bytes;
    if (m_walkingIndex) {
        files.index = m_indexFile.get();
        files.grid = m_entries.header();
        if (!hasAllTiles(files)) return {};
        allBytes += fileLength(files.index);
    }
    if (allBytes / kSmallestBlock < files.blocks) return {};
    const auto bounds = findBoundsOf(files, applied(), threads);
    if (bounds) endPass();
    return bounds;
}

/// As if all records had been taken.
void ActualCL3Codec::endPass() {
    m_records.stop();
    m_entries.stop();
    m_walkingIndex = false;
}

}  // namespace brisko
