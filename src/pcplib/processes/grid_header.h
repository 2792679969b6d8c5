#pragma once

#include <brisko_codec/file_header.h>

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

}  // namespace QelPcpLib
