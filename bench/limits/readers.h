#pragma once

#include "limits/layouts.h"

#include <algorithm>
#include <cmath>

/// The reading loops. Each takes its data from large batches; reading on lies out of line.
namespace brisko::limits {

/// The reading interface in outline: one virtual call a point with all its reference arguments.
class Reader {
public:
    virtual ~Reader() = default;
    virtual bool first(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
                       std::uint8_t& b, std::uint8_t& a) = 0;
    virtual bool next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
                      std::uint8_t& b, std::uint8_t& a) = 0;
};
class GridReader {
public:
    virtual ~GridReader() = default;
    virtual bool next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
                      std::uint8_t& b, std::uint8_t& a, unsigned& column, unsigned& row) = 0;
};

inline std::uint32_t cl3Blocks(std::FILE* file) {
    std::uint8_t header[kCL3Header];
    get(file, header, sizeof header);
    return load<std::uint32_t>(header + 110);
}
inline std::uint32_t blockPoints(std::FILE* file) {
    std::uint8_t header[kBlockHeader];
    get(file, header, sizeof header);
    return load<std::uint32_t>(header);
}

std::unique_ptr<Reader> makeCL3Reader(const std::string& path);
std::unique_ptr<GridReader> makeIndexedReader(const std::string& path);
std::unique_ptr<GridReader> makeCLRReader(const std::string& path);

/// An indexed CL3 scan, tile by tile.
class IndexedReader : public GridReader {
public:
    IndexedReader(const std::string& path, const Matrix& matrix);

    bool take(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
              std::uint8_t& b, unsigned& column, unsigned& row) {
        for (;;) {
            if (!m_left && !readTile()) return false;
            const std::uint32_t* const entries = m_entries.data();
            std::uint32_t cell = m_cell;
            while (!entries[cell])
                ++cell;  // points left promise one more entry in this tile
            m_cell = cell + 1;
            --m_left;
            const std::uint8_t* const record = m_record;
            m_record += kRecord;
            if (!decodeRecord(record, x, y, z, i, r, g, b)) continue;
            project(m_matrix.m, x, y, z);
            column = m_tileColumn * kTile + (cell >> 8);
            row = m_tileRow * kTile + (cell & 255);
            return true;
        }
    }

    bool next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
              std::uint8_t& b, std::uint8_t& a, unsigned& column, unsigned& row) override;

    std::uint32_t columns() const { return m_columns; }
    std::uint32_t rows() const { return m_rows; }

private:
    BRISKO_OPAQUE bool readTile();

    File m_file, m_index;
    Bytes m_records = Bytes(std::size_t{kTileCells} * kRecord);
    std::vector<std::uint32_t> m_entries = std::vector<std::uint32_t>(kTileCells);
    const std::uint8_t* m_record = nullptr;
    std::uint32_t m_columns = 0, m_rows = 0;
    std::uint32_t m_tileColumn = 0, m_tileRow = 0;
    std::uint32_t m_left = 0, m_cell = kTileCells;
    bool m_started = false;
    Matrix m_matrix;
};

/// A CLR scan: one block, several that are merged, or compressed lines.
class CLRReader : public GridReader {
public:
    explicit CLRReader(const std::string& path);

    bool take(double& x, double& y, double& z, float& i, unsigned& column, unsigned& row) {
        for (;;) {
            if (m_at == m_have && !readOn()) return false;
            const std::uint32_t cellRow = m_row, cellColumn = m_column;
            if (++m_row == m_rows) m_row = 0, ++m_column;
            const RawPoint& p = m_points[m_at++];
            if (p.intensity <= 0) continue;
            x = p.x / 10000.0, y = p.y / 10000.0, z = p.z / 10000.0;
            i = static_cast<float>(p.intensity);
            project(m_matrix.m, x, y, z);
            column = cellColumn;
            row = (cellColumn & 1) && m_format != 3 ? m_rows - 1 - cellRow : cellRow;
            return true;
        }
    }

    bool next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
              std::uint8_t& b, std::uint8_t& a, unsigned& column, unsigned& row) override;

    /// For the sorting of lines: a whole column; null at the end.
    RawPoint* takeLine();

    std::uint32_t columns() const { return m_columns; }
    std::uint32_t rows() const { return m_rows; }
    std::uint32_t format() const { return m_format; }
    std::uint32_t blocks() const { return m_blocks; }

private:
    BRISKO_OPAQUE bool readOn();
    void readLine();
    void mergeBlocks();

    static constexpr std::uint32_t kBatch = 5000;  // cells of each block
    std::vector<File> m_files;                     // one for every block
    std::vector<RawPoint> m_points;
    Bytes m_packed;
    std::uint32_t m_columns = 0, m_rows = 0, m_format = 0, m_blocks = 0;
    std::uint32_t m_at = 0, m_have = 0, m_column = 0, m_row = 0;
    std::uint64_t m_cellsRead = 0;
    Matrix m_matrix;
};

}  // namespace brisko::limits
