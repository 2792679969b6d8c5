#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>

#include "layouts/ij_index.h"
#include "writers/tile_grid_writer.h"

#include <cstdint>
#include <optional>
#include <string>

namespace QelPcpLib {

/// The header of a CL3 scan with a grid of its own: the resolution that a CL3 header derives from its
/// angles counts intervals and may be off, the one of an index or of a raw scan is the grid.
class GridHeader final : public CL3FileHeader {
public:
    GridHeader(const CL3FileHeader& header, std::size_t columns, std::size_t rows)
        : CL3FileHeader(header), m_columns(columns), m_rows(rows) {}

    std::size_t GetAzimuthResolution() const override { return m_columns; }
    std::size_t GetZenithResolution() const override { return m_rows; }

private:
    std::size_t m_columns;
    std::size_t m_rows;
};

/// The scan that a driver writes. Knows when a point would not be stored, so that none is lost
/// unnoticed.
class IndexedOutput {
public:
    /// False when the files cannot be created. A second one begins anew.
    bool Open(const std::string& path, GridFileHeader& header, const brisko::Alignment& alignment) {
        m_endColumn = brisko::divideRoundingUp(header.GetAzimuthResolution(), brisko::kTileSize) *
                      brisko::kTileSize;
        m_endRow = brisko::divideRoundingUp(header.GetZenithResolution(), brisko::kTileSize) *
                   brisko::kTileSize;
        m_band = 0;
        m_alignment = alignment;
        m_writer.emplace();
        return m_writer->open(path.c_str(), &header) && !m_writer->failed();
    }

    /// False when the cell is not one of the grid, or its band was written already.
    bool Write(const double* position, float intensity, const std::uint8_t* colour,
               std::uint32_t column, std::uint32_t row) {
        const std::uint32_t band = column / brisko::kTileSize;
        if (column >= m_endColumn || row >= m_endRow || band < m_band) return false;
        m_band = band;
        m_writer->write(
            {position[0], position[1], position[2], intensity, colour[0], colour[1], colour[2]},
            column, row);
        return true;
    }
    /// For those who write whole bands.
    brisko::TileGridWriter& Bands() { return *m_writer; }

    bool HasWriteError() const { return m_writer->failed(); }
    /// False when anything was not written.
    bool Close() {
        m_writer->close(m_alignment.matrix);
        return !m_writer->failed();
    }

private:
    std::optional<brisko::TileGridWriter> m_writer;
    brisko::Alignment m_alignment;
    std::uint64_t m_endColumn = 0;
    std::uint64_t m_endRow = 0;
    std::uint32_t m_band = 0;
};

}  // namespace QelPcpLib
