#pragma once

#include <brisko_codec/file_header.h>

#include "base/output_file.h"
#include "writers/packed_band.h"
#include "writers/tile_band.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko {

/// scan.cl3 and scan.ij on their way: bands of tiles are encoded and written one after another.
class TileFiles {
public:
    TileFiles() = default;
    TileFiles(const TileFiles&) = delete;
    TileFiles& operator=(const TileFiles&) = delete;

    /// Creates both and writes their headers.
    ///   path    of scan.cl3; empty: there is none
    ///   header  of it; its block count is that of the grid's tiles
    void create(const std::string& path, const CL3FileHeader& header, std::uint32_t columns,
                std::uint32_t rows);
    bool failed() const { return m_failed || m_scan.failed() || m_index.failed(); }
    /// Whether there is a file that tiles can go to, and none that failed.
    bool takesTiles() const {
        return (m_scan.isOpen() || m_index.isOpen()) && !m_scan.failed() && !m_index.failed();
    }
    /// Writes the next 256 columns. The band is empty afterwards.
    void append(TileBand& band);
    void append(const PackedBand& band);
    /// Completes the files. Where they hold less than they should, their headers count what is there.
    void close();

private:
    void encodeTile(TileBand& band, std::uint32_t rowTile);
    void appendTile(std::uint32_t rowTile, std::uint8_t* block, std::uint32_t points);
    std::uint32_t appendBlock(std::uint8_t* block, std::uint32_t points);
    std::uint32_t* entries() { return m_entries.data() + ij_tile::kHeaderSize / kEntrySize; }
    void forgetEntriesAfter(std::uint32_t lastPoint);
    void appendIndexTile(std::uint32_t rowTile, std::uint32_t points);
    void correctBlockCounts();

    bool m_failed = false;
    OutputFile m_scan;
    OutputFile m_index;
    CL3FileHeader m_header;
    std::uint32_t m_columns = 0;
    std::uint32_t m_rows = 0;
    std::uint32_t m_rowTiles = 0;
    std::uint32_t m_bandIndex = 0;            // of the next band
    std::unique_ptr<std::uint8_t[]> m_block;  // block header and records of a tile
    std::vector<std::uint32_t> m_entries;     // tile header and entries of a tile
    std::uint32_t m_blocksOnDisk = 0;
    std::uint32_t m_indexTilesOnDisk = 0;
};

}  // namespace brisko
