#include "limits/modes.h"
#include "limits/readers.h"
#include "synthetic/check_values.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Loops over bands of 256 columns on several threads, as plain as can be: each thread reads a band with one call,
/// packs its tiles, and writes them in its turn. (Several threads may write into one file at once, but the kernel
/// lets them wait for each other and spin.)
namespace brisko::limits {

namespace {

using bench::checkFile;
using bench::PointSum;

/// A file descriptor; what fails ends the program.
class Handle {
public:
    Handle(const std::string& path, int flags) : m_handle(open(path.c_str(), flags, 0644)) {
        require(m_handle >= 0);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(m_handle); }

    void read(void* bytes, std::size_t size, std::uint64_t at) const {
        require(pread(m_handle, bytes, size, static_cast<off_t>(at)) == static_cast<ssize_t>(size));
    }
    void write(const void* bytes, std::size_t size, std::uint64_t at) const {
        require(pwrite(m_handle, bytes, size, static_cast<off_t>(at)) ==
                static_cast<ssize_t>(size));
    }

private:
    static void require(bool done) {
        if (done) return;
        std::perror("parallel");
        std::exit(2);
    }
    int m_handle;
};

void onThreads(const std::function<void()>& work) {
    std::vector<std::thread> others;
    for (std::uint32_t k = 1; k < options().threads; ++k)
        others.emplace_back(work);
    work();
    for (std::thread& thread : others)
        thread.join();
}

/// A raw scan of one block, plain or compressed.
struct RawFile {
    explicit RawFile(const std::string& path) : file(path, O_RDONLY) {
        std::uint8_t header[kCLRHeader + 1];
        file.read(header, sizeof header, 0);
        columns = load<std::uint32_t>(header + 104);
        rows = load<std::uint32_t>(header + 108);
        format = header[112];
        if (format == 2) findPieces();
    }

    /// Where a column begins.
    std::uint64_t offsetOf(std::uint32_t column) const {
        return format == 2 ? pieces[column] : kCLRHeader + 1 + lineBytes() * column;
    }
    std::uint64_t lineBytes() const { return std::uint64_t{rows} * sizeof(RawPoint); }

    Handle file;
    std::uint32_t columns = 0, rows = 0, format = 0;
    std::vector<std::uint64_t> pieces;  // the first one of each column, and the end

private:
    void findPieces() {
        std::uint64_t at = kCLRHeader + 1;
        for (std::uint32_t column = 0; column < columns; ++column) {
            pieces.push_back(at);
            for (std::uint32_t row = 0; row < rows; row += kChunk) {
                std::uint32_t length = 0;
                file.read(&length, sizeof length, at);
                at += sizeof length + length;
            }
        }
        pieces.push_back(at);
    }
};

/// The box of the points that a thread packed.
struct Box {
    std::array<double, 3> min{1e20, 1e20, 1e20}, max{-1e20, -1e20, -1e20};

    void add(const double (&p)[3]) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            max[axis] = max[axis] >= p[axis] ? max[axis] : p[axis];
            min[axis] = p[axis] >= min[axis] ? min[axis] : p[axis];
        }
    }
};

/// The tiles of a band, as they go into the files.
struct PackedTiles {
    explicit PackedTiles(std::uint32_t count) : tiles(count) {
        for (Tile& tile : tiles) {
            tile.block.reset(new std::uint8_t[kBlockHeader + kTileCells * kRecord + 1]);
            tile.entries.resize(3 + kTileCells);
        }
    }
    struct Tile {
        std::unique_ptr<std::uint8_t[]> block;
        std::vector<std::uint32_t> entries;
        std::uint32_t points = 0;
        std::uint64_t bytes() const { return kBlockHeader + std::uint64_t{points} * kRecord; }
    };
    std::vector<Tile> tiles;
};

/// Packs the lines of a band. A turned line is stored from its last row to its first.
void packLines(const RawPoint* lines, std::uint32_t first, std::uint32_t end, const RawFile& scan,
               PackedTiles& packed, Box& box) {
    for (std::uint32_t t = 0; t < packed.tiles.size(); ++t) {
        PackedTiles::Tile& tile = packed.tiles[t];
        std::uint8_t* out = tile.block.get() + kBlockHeader;
        std::uint32_t* entry = tile.entries.data() + 3;
        std::uint32_t points = 0;
        const std::uint32_t endRow = std::min(scan.rows, (t + 1) * kTile);
        std::fill_n(entry, kTileCells, 0);
        for (std::uint32_t column = first; column < end; ++column, entry += kTile) {
            const RawPoint* const line = lines + std::size_t{column - first} * scan.rows;
            const bool turned = (column & 1) && scan.format != 3;
            for (std::uint32_t row = t * kTile; row < endRow; ++row) {
                const RawPoint& p = line[turned ? scan.rows - 1 - row : row];
                if (p.intensity <= 0) continue;
                const double position[] = {p.x / 10000.0, p.y / 10000.0, p.z / 10000.0};
                encodeRecord(out, position[0], position[1], position[2],
                             static_cast<float>(p.intensity), 0, 0, 0);
                box.add(position);
                out += kRecord;
                entry[row % kTile] = ++points;
            }
        }
        tile.points = points;
    }
}

/// The scan and its index, to which bands are appended in turn.
class IndexedFiles {
public:
    IndexedFiles(const std::string& path, const std::string& indexPath, std::uint32_t columns,
                 std::uint32_t rows)
        : m_down(tilesAlong(rows)),
          m_scan(path, O_WRONLY | O_CREAT | O_TRUNC),
          m_index(indexPath, O_WRONLY | O_CREAT | O_TRUNC) {
        const Bytes header = cl3Header(tilesAlong(columns) * m_down);
        const Bytes indexHeader = ijHeader(columns, rows);
        m_scan.write(header.data(), header.size(), 0);
        m_index.write(indexHeader.data(), indexHeader.size(), 0);
    }

    void write(std::uint32_t band, PackedTiles& packed) {
        std::unique_lock lock(m_mutex);
        m_isWritten.wait(lock, [&] { return m_next == band; });
        lock.unlock();
        for (std::uint32_t t = 0; t < m_down; ++t)
            writeTile(band, t, packed.tiles[t]);
        lock.lock();
        ++m_next;
        m_isWritten.notify_all();
    }

private:
    void writeTile(std::uint32_t band, std::uint32_t row, PackedTiles::Tile& tile) {
        std::memcpy(tile.block.get(), &tile.points, sizeof tile.points);
        tile.block[4] = 0;
        m_scan.write(tile.block.get(), tile.bytes(), m_end);
        m_end += tile.bytes();
        tile.entries[0] = band, tile.entries[1] = row, tile.entries[2] = tile.points;
        const std::size_t indexBytes = tile.entries.size() * 4;
        m_index.write(tile.entries.data(), indexBytes, m_indexEnd);
        m_indexEnd += indexBytes;
    }

    std::uint32_t m_down;
    Handle m_scan, m_index;
    std::mutex m_mutex;
    std::condition_variable m_isWritten;
    std::uint32_t m_next = 0;
    std::uint64_t m_end = kCL3Header, m_indexEnd = kIJHeader;
};

/// A band's lines, from one stretch of the file.
void readLines(const RawFile& scan, std::uint32_t first, std::uint32_t end, Bytes& bytes,
               std::vector<RawPoint>& lines) {
    const std::uint64_t start = scan.offsetOf(first), size = scan.offsetOf(end) - start;
    lines.resize(std::size_t{kTile} * scan.rows);
    if (scan.format != 2) return scan.file.read(lines.data(), size, start);
    bytes.resize(std::max<std::size_t>(bytes.size(), size + 8));
    scan.file.read(bytes.data(), size, start);
    const std::uint8_t* in = bytes.data();
    for (std::uint32_t column = 0; column < end - first; ++column) {
        for (std::uint32_t row = 0; row < scan.rows; row += kChunk) {
            decodeChunk(in + 4, std::min(kChunk, scan.rows - row),
                        &lines[std::size_t{column} * scan.rows + row]);
            in += 4 + load<std::uint32_t>(in);
        }
    }
}

}  // namespace

void convertCLROnThreads(const std::string& file) {
    const std::string path = outputPath("reference.cl3"), index = outputPath("reference.ij");
    const double cells = static_cast<double>(options().columns) * options().rows;
    measure("par-" + file, cells, [&](Watch& watch) {
        removeFiles({path, index});
        watch.start();
        const RawFile scan(inputPath(file));
        IndexedFiles output(path, index, scan.columns, scan.rows);
        std::atomic<std::uint32_t> next = 0;
        onThreads([&] {
            PackedTiles packed(tilesAlong(scan.rows));
            Bytes bytes;
            std::vector<RawPoint> lines;
            Box box;
            for (std::uint32_t band = next++; band < tilesAlong(scan.columns); band = next++) {
                const std::uint32_t first = band * kTile;
                const std::uint32_t end = std::min(first + kTile, scan.columns);
                readLines(scan, first, end, bytes, lines);
                packLines(lines.data(), first, end, scan, packed, box);
                output.write(band, packed);
            }
        });
        watch.stop();
        const double check = checkFile(path, kCL3Header) + checkFile(index, kIJHeader);
        removeFiles({path, index});
        return check;
    });
}

/// Every point of an indexed scan, by tiles; where they begin is found first.
void readIndexedOnThreads() {
    const std::string path = inputPath("grid.cl3");
    const double points =
        static_cast<double>(fileSize(path) - kCL3Header) / static_cast<double>(kRecord);
    measure("par-grid", points, [&](Watch& watch) {
        watch.start();
        const Handle file(path, O_RDONLY);
        std::uint8_t header[kCL3Header];
        file.read(header, sizeof header, 0);
        std::vector<std::uint64_t> blocks(load<std::uint32_t>(header + 110) + 1, kCL3Header);
        for (std::size_t k = 0; k + 1 < blocks.size(); ++k) {
            std::uint32_t count = 0;
            file.read(&count, sizeof count, blocks[k]);
            blocks[k + 1] = blocks[k] + kBlockHeader + std::uint64_t{count} * kRecord;
        }
        std::atomic<std::size_t> next = 0;
        std::mutex mutex;
        double total = 0;
        onThreads([&] {
            Bytes records(std::size_t{kTileCells} * kRecord);
            PointSum sum;
            const Matrix matrix = alignment();
            for (std::size_t k = next++; k + 1 < blocks.size(); k = next++) {
                const std::uint64_t start = blocks[k] + kBlockHeader;
                file.read(records.data(), blocks[k + 1] - start, start);
                const std::uint8_t* const end = records.data() + (blocks[k + 1] - start);
                for (const std::uint8_t* in = records.data(); in != end; in += kRecord) {
                    double x, y, z;
                    float i;
                    std::uint8_t r, g, b;
                    if (!decodeRecord(in, x, y, z, i, r, g, b)) continue;
                    project(matrix.m, x, y, z);
                    sum.add(x, y, z, i, r, g, b);
                }
            }
            const std::lock_guard lock(mutex);
            total += sum.value();
        });
        watch.stop();
        return total;
    });
}

}  // namespace brisko::limits
