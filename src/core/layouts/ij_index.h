#pragma once

#include "base/checked.h"
#include "base/read_errors.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

/// The grid index scan.ij: for every tile of the grid the entries of its cells, in the order of the
/// blocks of scan.cl3. All numbers are unsigned 32-bit little-endian.
namespace brisko {

namespace ij_header {                           // size  meaning
inline constexpr std::size_t kTag = 0;          //   32  "CL3_IJ_0.2", NUL-padded
inline constexpr std::size_t kBlockCount = 32;  //    4  tiles, and blocks of scan.cl3
inline constexpr std::size_t kColumns = 36;     //    4  of the grid
inline constexpr std::size_t kRows = 40;        //    4  of the grid
inline constexpr std::size_t kTileSize = 44;    //    4  edge of a tile in cells; written as 256
inline constexpr std::size_t kSize = 48;
inline constexpr std::string_view kTagText = "CL3_IJ_0.2";
}  // namespace ij_header

namespace ij_tile {                             // size  meaning
inline constexpr std::size_t kColumnTile = 0;   //    4  first column of the tile / tile size
inline constexpr std::size_t kRowTile = 4;      //    4  first row of the tile / tile size
inline constexpr std::size_t kPointCount = 8;   //    4  points in the matching CL3 block
inline constexpr std::size_t kHeaderSize = 12;  //       then the entries, 4 bytes each
}  // namespace ij_tile

inline constexpr std::uint32_t kTileSize = 256;  // of every index that this library writes
inline constexpr std::size_t kTileCells = std::size_t{kTileSize} * kTileSize;
inline constexpr std::size_t kEntrySize = 4;  // 0: no point; else its number, from 1, in the block

/// The largest tile edge whose cells a 32-bit count can hold; beyond it an index has no entries.
inline constexpr std::uint32_t kLargestTileSize = 65535;

struct IJHeader {
    std::uint32_t blockCount = 0;
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::uint32_t tileSize = 0;

    std::uint64_t columnTiles() const { return divideRoundingUp(columns, tileSize); }
    std::uint64_t rowTiles() const { return divideRoundingUp(rows, tileSize); }
};

struct IJTile {
    std::uint32_t columnTile = 0;
    std::uint32_t rowTile = 0;
    std::uint32_t pointCount = 0;
};

/// The tag is not compared: older indexes carry another one.
IJHeader decodeIJHeader(const std::uint8_t* in);
void encodeIJHeader(const IJHeader& header, std::uint8_t* out);

IJTile decodeIJTile(const std::uint8_t* in);
void encodeIJTile(const IJTile& tile, std::uint8_t* out);

/// Reads the header at the start of an index. Fields that a short file does not hold are 0.
IJHeader readIJHeader(std::FILE* file, ReadErrors* errors = nullptr);

/// Bytes of a tile of any edge up to kLargestTileSize.
constexpr std::uint64_t ijTileBytes(std::uint32_t tileSize) {
    return ij_tile::kHeaderSize + kEntrySize * std::uint64_t{tileSize} * tileSize;
}

/// The place of a cell's entry among the entries of its tile: rows run fastest.
constexpr std::uint64_t ijEntryIndex(std::uint32_t column, std::uint32_t row,
                                     std::uint32_t tileSize) {
    return std::uint64_t{column % tileSize} * tileSize + row % tileSize;
}

}  // namespace brisko
