#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/writers.h>

#include "layouts/ij_index.h"

#include <array>
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
    /// False when the files cannot be created.
    bool Open(const std::string& path, GridFileHeader& header, const brisko::Alignment& alignment) {
        m_endColumn = brisko::divideRoundingUp(header.GetAzimuthResolution(), brisko::kTileSize) *
                      brisko::kTileSize;
        m_endRow = brisko::divideRoundingUp(header.GetZenithResolution(), brisko::kTileSize) *
                   brisko::kTileSize;
        auto matrix = std::to_array(alignment.matrix);
        m_writer.SetMatrixTransform(matrix.data());
        return m_writer.Open(path.c_str(), &header) && !m_writer.HasWriteError();
    }

    /// False when the cell is not one of the grid, or its band was written already.
    bool Write(const double* position, float intensity, const std::uint8_t* colour,
               std::uint32_t column, std::uint32_t row) {
        const std::uint32_t band = column / brisko::kTileSize;
        if (column >= m_endColumn || row >= m_endRow || band < m_band) return false;
        m_band = band;
        m_writer.WritePoint(position[0], position[1], position[2], intensity, colour[0], colour[1],
                            colour[2], 255, column, row);
        return true;
    }

    bool HasWriteError() const { return m_writer.HasWriteError(); }
    /// False when anything was not written.
    bool Close() { return m_writer.Close() && !m_writer.HasWriteError(); }

private:
    CL3IJWriterGridCodec m_writer;
    std::uint64_t m_endColumn = 0;
    std::uint64_t m_endRow = 0;
    std::uint32_t m_band = 0;
};

}  // namespace QelPcpLib
