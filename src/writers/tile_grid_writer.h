#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/writers.h>

#include "base/ordered_work.h"
#include "layouts/ij_index.h"
#include "writers/packed_band.h"
#include "writers/points_box.h"
#include "writers/tile_band.h"
#include "writers/tile_files.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace brisko {

/// Writes scan.cl3 in tiles of 256 x 256 cells, scan.ij and scan.alg: points one after another, or whole bands of
/// columns that others have filled.
class TileGridWriter {
public:
    TileGridWriter() = default;
    TileGridWriter(const TileGridWriter&) = delete;
    TileGridWriter& operator=(const TileGridWriter&) = delete;

    /// Names and headers as CL3IJWriterGridCodec::Open takes them. False when the grid has too many tiles.
    bool open(const char* path, const GridFileHeader* header);
    /// Before the first point: while a band is filled, another thread encodes and writes the one before.
    void writeBehind();
    bool isOpen() const { return m_open; }
    bool failed() const { return m_failed; }
    void write(const CL3Record& record, std::uint32_t column, std::uint32_t row);
    /// The next band, in place of its points; not to be mixed with write().
    void append(PackedBand& band);
    void close(const double (&matrix)[16]);
    DroppedPoints dropped() const {
        DroppedPoints all = m_dropped;
        all.replaced += m_replaced + m_band->replaced();
        return all;
    }

private:
    /// Whether it makes sense to give bands to the files.
    bool takesBands() const { return m_behind ? !m_failed : m_files.takesTiles(); }
    void moveToBandOf(std::uint32_t column);
    void finishBand();
    void toFiles(TileBand& band);

    bool m_open = false;
    std::string m_alignmentPath;
    std::uint32_t m_columnTiles = 0;
    std::uint32_t m_rowTiles = 0;
    std::uint32_t m_bandIndex = 0;  // band b covers columns 256 b to 256 b + 255
    std::uint32_t m_bandTiles = 0;  // of that band; 0 after the grid's end
    TileBand m_ownBand;
    TileBand* m_band = &m_ownBand;  // that is being filled
    PointsBox m_box;
    DroppedPoints m_dropped;
    TileFiles m_files;
    // What the thread that writes has to say.
    std::atomic<bool> m_failed = false;
    std::atomic<std::uint64_t> m_replaced = 0;
    std::unique_ptr<PiecesBehind<TileBand>>
        m_behind;  // the last member: it stops before the others go
};

inline void TileGridWriter::write(const CL3Record& record, std::uint32_t column,
                                  std::uint32_t row) {
    if (!m_open) return;
    m_box.add({record.x, record.y, record.z});
    // As a signed number: columns from 2^31 on count as after the band.
    auto offset = static_cast<std::int32_t>(column - kTileSize * m_bandIndex);
    if (offset < 0 || offset >= static_cast<std::int32_t>(kTileSize)) [[unlikely]] {
        const bool isBeyond = column / kTileSize >= m_columnTiles;
        if (offset < 0) {
            ++(isBeyond ? m_dropped.outsideGrid : m_dropped.bandPassed);
            return;
        }
        moveToBandOf(column);
        offset = static_cast<std::int32_t>(column - kTileSize * m_bandIndex);
    }
    if (row / kTileSize >= m_bandTiles) [[unlikely]] {
        ++m_dropped.outsideGrid;
        return;
    }
    const bool counts = isMeasured(record);
    if (!counts) [[unlikely]]
        ++m_dropped.wouldReadAsEmpty;
    if (!m_band->put(static_cast<std::uint32_t>(offset), row, record, counts)) m_failed = true;
}

}  // namespace brisko
