#include "layouts/ij_index.h"

#include "base/bytes.h"
#include "base/file.h"

#include <algorithm>

namespace brisko {

IJHeader decodeIJHeader(const std::uint8_t* in) {
    return {.blockCount = loadU32(in + ij_header::kBlockCount),
            .columns = loadU32(in + ij_header::kColumns),
            .rows = loadU32(in + ij_header::kRows),
            .tileSize = loadU32(in + ij_header::kTileSize)};
}

void encodeIJHeader(const IJHeader& header, std::uint8_t* out) {
    std::fill_n(out, ij_header::kSize, std::uint8_t{0});
    std::copy(ij_header::kTagText.begin(), ij_header::kTagText.end(), out + ij_header::kTag);
    storeU32(out + ij_header::kBlockCount, header.blockCount);
    storeU32(out + ij_header::kColumns, header.columns);
    storeU32(out + ij_header::kRows, header.rows);
    storeU32(out + ij_header::kTileSize, header.tileSize);
}

IJTile decodeIJTile(const std::uint8_t* in) {
    return {loadU32(in + ij_tile::kColumnTile), loadU32(in + ij_tile::kRowTile),
            loadU32(in + ij_tile::kPointCount)};
}

void encodeIJTile(const IJTile& tile, std::uint8_t* out) {
    storeU32(out + ij_tile::kColumnTile, tile.columnTile);
    storeU32(out + ij_tile::kRowTile, tile.rowTile);
    storeU32(out + ij_tile::kPointCount, tile.pointCount);
}

IJHeader readIJHeader(std::FILE* file, ReadErrors* errors) {
    std::array<std::uint8_t, ij_header::kSize> bytes{};
    const std::size_t got = readAt(file, 0, bytes.data(), bytes.size(), errors);
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(got / 4 * 4), bytes.end(),
              std::uint8_t{0});
    return decodeIJHeader(bytes.data());
}

}  // namespace brisko
