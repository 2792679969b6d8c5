#include "scan/formats/tiff/tiff_tiles.h"

#include "base/file.h"

#include <tiffio.h>
#include <array>
#include <cerrno>

namespace brisko::scan::tiff {
namespace {

constexpr std::uint32_t kMetadata = 42112;  // tags that GDAL has for itself
constexpr std::uint32_t kNoData = 42113;

void nameOwnTags(TIFF* file) {
    static std::array<char, 13> metadata{"GDALMetadata"};
    static std::array<char, 11> noData{"GDALNoData"};
    const std::array<TIFFFieldInfo, 2> fields = {
        {{kMetadata, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, metadata.data()},
         {kNoData, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, noData.data()}}};
    TIFFMergeFieldInfo(file, fields.data(), static_cast<std::uint32_t>(fields.size()));
}

std::uint64_t tiles(std::uint32_t cells) {
    return (std::uint64_t{cells} + kTileSize - 1) / kTileSize;
}

/// Whether places in the file need more than 32 bits.
bool isLarge(const Picture& picture) {
    constexpr std::uint64_t kRest = 1 << 28;  // lists of tiles and tags
    const std::uint64_t bytes =
        tiles(picture.width) * tiles(picture.height) * picture.bands * kTileCells * sizeof(float);
    return bytes + kRest > 0xffffffffU;
}

}  // namespace

TileFile::TileFile(const std::string& path, const std::string& shownPath, const Picture& picture)
    : m_path(path),
      m_shownPath(shownPath),
      m_file(path, shownPath, isLarge(picture) ? "w8l" : "wl") {
    describe(picture);
}

void TileFile::describe(const Picture& picture) {
    TIFF* const file = m_file.get();
    errno = 0;
    nameOwnTags(file);
    bool done = TIFFSetField(file, TIFFTAG_IMAGEWIDTH, picture.width) == 1;
    done &= TIFFSetField(file, TIFFTAG_IMAGELENGTH, picture.height) == 1;
    done &= TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, picture.bands) == 1;
    done &= TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 32) == 1;
    done &= TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP) == 1;
    done &= TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE) == 1;
    done &= TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == 1;
    done &= TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == 1;
    done &= TIFFSetField(file, TIFFTAG_TILEWIDTH, kTileSize) == 1;
    done &= TIFFSetField(file, TIFFTAG_TILELENGTH, kTileSize) == 1;
    const std::vector<std::uint16_t> extra(picture.bands - 1, EXTRASAMPLE_UNSPECIFIED);
    done &= TIFFSetField(file, TIFFTAG_EXTRASAMPLES, picture.bands - 1, extra.data()) == 1;
    done &= TIFFSetField(file, kMetadata, picture.metadata.c_str()) == 1;
    done &= TIFFSetField(file, kNoData, "nan") == 1;
    if (!done) m_file.fail();
}

void TileFile::write(std::uint32_t columnTile, std::uint32_t rowTile, std::uint32_t band,
                     const float* values) {
    const std::uint32_t tile =
        TIFFComputeTile(m_file.get(), columnTile * kTileSize, rowTile * kTileSize, 0,
                        static_cast<std::uint16_t>(band));
    constexpr auto kBytes = static_cast<tmsize_t>(kTileCells * sizeof(float));
    errno = 0;
    // The library takes a pointer to what it may change, and leaves it alone without compression.
    if (TIFFWriteRawTile(m_file.get(), tile, const_cast<float*>(values), kBytes) != kBytes)
        m_file.fail();
}

void TileFile::close() {
    errno = 0;
    // Closing says nothing of errors.
    if (TIFFWriteDirectory(m_file.get()) != 1 || TIFFFlush(m_file.get()) != 1) m_file.fail();
    m_file.close();
    requireWhole();
}

void TileFile::requireWhole() {
    const Handle file(m_path, m_shownPath, "r");
    const std::uint64_t length = fileLength(m_path.c_str());
    const std::uint32_t count = TIFFNumberOfTiles(file.get());
    for (std::uint32_t tile = 0; tile < count; ++tile) {
        const std::uint64_t begin = TIFFGetStrileOffset(file.get(), tile);
        const std::uint64_t bytes = TIFFGetStrileByteCount(file.get(), tile);
        if (begin > 0 && bytes == kTileCells * sizeof(float) && begin + bytes <= length) continue;
        file.fail("tile " + std::to_string(tile) + " is not in the file");
    }
}

}  // namespace brisko::scan::tiff
