#pragma once

#include "scan/formats/tiff/tiff_handle.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace brisko::scan::tiff {

constexpr std::uint32_t kTileSize = 256;
constexpr std::size_t kTileCells = std::size_t{kTileSize} * kTileSize;

struct Picture {
    std::uint32_t width, height;
    std::uint32_t bands;
    std::string metadata;  // XML as GDAL has it
};

/// A TIFF file of 32-bit floating-point bands in tiles, each band for itself; NaN is "no value". Large ones
/// are BigTIFF. All failures are ScanErrors (NotWritten).
class TileFile {
public:
    TileFile(const std::string& path, const std::string& shownPath, const Picture& picture);

    /// values: kTileCells, row by row.
    void write(std::uint32_t columnTile, std::uint32_t rowTile, std::uint32_t band,
               const float* values);
    /// Completes the file and compares the places of its tiles with its length.
    void close();

private:
    void describe(const Picture& picture);
    void requireWhole();

    std::string m_path, m_shownPath;
    Handle m_file;
};

}  // namespace brisko::scan::tiff
