#include "limits/layouts.h"
#include "limits/modes.h"

#include <algorithm>
#include <filesystem>

namespace brisko::limits {

namespace {

using bench::Room;

/// Every cell, a million points a block, no index.
void writePlainScan(const Room& room, const std::string& path) {
    const File file = openOrExit(path, "wb");
    const std::uint64_t total = room.cells();
    const Bytes header = cl3Header(static_cast<std::uint32_t>((total + kCL3Block - 1) / kCL3Block));
    put(file.get(), header.data(), header.size());
    std::uint64_t written = 0;
    for (std::uint32_t column = 0; column < room.columns(); ++column) {
        for (std::uint32_t row = 0; row < room.rows(); ++row, ++written) {
            if (written % kCL3Block == 0) {
                const auto count =
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(kCL3Block, total - written));
                put(file.get(), &count, sizeof count);
                std::fputc(0, file.get());
            }
            const Point p = room.at(column, row);
            put(file.get(), &p, kRecord);
        }
    }
    writeAlignment(inputPath("scan.alg"));
}

struct Tile {
    Bytes records;
    std::vector<std::uint32_t> entries;
    std::uint32_t points = 0;
};

void fillTile(const Room& room, std::uint32_t tileColumn, std::uint32_t tileRow, Tile& tile) {
    tile.records.clear();
    tile.entries.assign(kTileCells, 0);
    tile.points = 0;
    for (std::uint32_t cell = 0; cell < kTileCells; ++cell) {
        const std::uint32_t column = tileColumn * kTile + cell / kTile;
        const std::uint32_t row = tileRow * kTile + cell % kTile;
        if (column >= room.columns() || row >= room.rows()) continue;
        if (!Room::hasReturn(column, row)) continue;
        const Point p = room.at(column, row);
        std::uint8_t record[sizeof p];
        std::memcpy(record, &p, sizeof p);
        tile.records.insert(tile.records.end(), record, record + kRecord);
        tile.entries[cell] = ++tile.points;
    }
}

/// About 90 % of the cells, a block and its entries a tile.
void writeIndexedScan(const Room& room, const std::string& path) {
    const std::uint32_t across = tilesAlong(room.columns()), down = tilesAlong(room.rows());
    const File file = openOrExit(path, "wb"), index = openOrExit(inputPath("grid.ij"), "wb");
    const Bytes header = cl3Header(across * down);
    put(file.get(), header.data(), header.size());
    const Bytes indexHeader = ijHeader(room.columns(), room.rows());
    put(index.get(), indexHeader.data(), indexHeader.size());
    Tile tile;
    for (std::uint32_t tileColumn = 0; tileColumn < across; ++tileColumn) {
        for (std::uint32_t tileRow = 0; tileRow < down; ++tileRow) {
            fillTile(room, tileColumn, tileRow, tile);
            put(file.get(), &tile.points, 4);
            std::fputc(0, file.get());
            put(file.get(), tile.records.data(), tile.records.size());
            const std::uint32_t tileHeader[3] = {tileColumn, tileRow, tile.points};
            put(index.get(), tileHeader, sizeof tileHeader);
            put(index.get(), tile.entries.data(), tile.entries.size() * 4);
        }
    }
    writeAlignment(inputPath("grid.alg"));
}

RawPoint cellOf(const Room& room, std::uint32_t column, std::uint32_t row, std::uint32_t block) {
    return Room::hasReturn(column, row) ? rawOf(room.at(column, row, block)) : RawPoint{};
}

/// Calls use() with the cells of every column of a block, in the order in which they are stored.
template <class Use>
void forEachLine(const Room& room, std::uint32_t columns, std::uint32_t block, bool turnOddLines,
                 const Use& use) {
    std::vector<RawPoint> line(room.rows());
    for (std::uint32_t column = 0; column < columns; ++column) {
        for (std::uint32_t row = 0; row < room.rows(); ++row) {
            const bool bottomUp = turnOddLines && (column & 1);
            line[bottomUp ? room.rows() - 1 - row : row] = cellOf(room, column, row, block);
        }
        use(line, column);
    }
}

void putLine(const File& file, const std::vector<RawPoint>& line) {
    put(file.get(), line.data(), line.size() * sizeof(RawPoint));
}

/// One plain block. Where no line is turned, the sorting of lines has to turn every other one.
void writeOneBlock(const Room& room, const std::string& path, std::uint32_t format,
                   bool turnOddLines, const std::string& model) {
    const File file = openOrExit(path, "wb");
    const Bytes header = clrHeader(room.columns(), room.rows(), format, 1, model);
    put(file.get(), header.data(), header.size());
    std::fputc(0, file.get());
    forEachLine(room, room.columns(), 0, turnOddLines,
                [&](const std::vector<RawPoint>& line, std::uint32_t) { putLine(file, line); });
}

/// Five blocks over a quarter of the columns, each of which missed a fifth of the returns.
void writeFiveBlocks(const Room& room, const std::string& path) {
    constexpr std::uint32_t kBlocks = 5;
    const std::uint32_t columns = room.columns() / 4, rows = room.rows();
    const File file = openOrExit(path, "wb");
    const Bytes header = clrHeader(columns, rows, 1, kBlocks);
    put(file.get(), header.data(), header.size());
    for (std::uint32_t block = 0; block < kBlocks; ++block) {
        std::fputc(0, file.get());
        forEachLine(room, columns, block, true,
                    [&](std::vector<RawPoint>& line, std::uint32_t column) {
                        for (std::uint32_t row = 0; row < rows; ++row) {
                            const std::uint64_t cell =
                                std::uint64_t{block} * 977 + std::uint64_t{column} * 31 + row;
                            if (bench::mix(cell) % 10 < 8) continue;
                            line[column & 1 ? rows - 1 - row : row] = {};
                        }
                        putLine(file, line);
                    });
    }
}

void writeCompressed(const Room& room, const std::string& path) {
    const File file = openOrExit(path, "wb");
    const Bytes header = clrHeader(room.columns(), room.rows(), 2, 1);
    put(file.get(), header.data(), header.size());
    std::fputc(0, file.get());
    Bytes chunk;
    forEachLine(
        room, room.columns(), 0, true, [&](const std::vector<RawPoint>& line, std::uint32_t) {
            for (std::size_t row = 0; row < line.size(); row += kChunk) {
                chunk.clear();
                encodeChunk(
                    std::span(line).subspan(row, std::min<std::size_t>(kChunk, line.size() - row)),
                    chunk);
                const auto length = static_cast<std::uint32_t>(chunk.size());
                put(file.get(), &length, sizeof length);
                put(file.get(), chunk.data(), chunk.size());
            }
        });
}

}  // namespace

void generate() {
    // A scanner's model decides how the library converts a CLR scan: in one pass, or through CL3.
    const std::string onePass = "RVX2000", throughCL3 = "BENCH";
    std::filesystem::create_directories(options().data);
    const Room room(options().columns, options().rows);
    const struct {
        const char* name;
        std::function<void(const std::string&)> write;
    } scans[] = {
        {"scan.cl3", [&](const std::string& path) { writePlainScan(room, path); }},
        {"grid.cl3", [&](const std::string& path) { writeIndexedScan(room, path); }},
        {"raw1.clr", [&](const std::string& path) { writeOneBlock(room, path, 1, true, onePass); }},
        {"through.clr",
         [&](const std::string& path) { writeOneBlock(room, path, 1, true, throughCL3); }},
        {"rise.clr",
         [&](const std::string& path) { writeOneBlock(room, path, 0, false, onePass); }},
        {"raw5.clr", [&](const std::string& path) { writeFiveBlocks(room, path); }},
        {"rawc.clr", [&](const std::string& path) { writeCompressed(room, path); }},
    };
    for (const auto& scan : scans) {
        if (!options().onlyFile.empty() && options().onlyFile != scan.name) continue;
        const std::string path = inputPath(scan.name);
        scan.write(path);
        std::printf("%-12s %12.0f bytes\n", scan.name, static_cast<double>(fileSize(path)));
    }
}

}  // namespace brisko::limits
