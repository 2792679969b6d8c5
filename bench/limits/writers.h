#pragma once

#include "limits/layouts.h"

/// The writing loops.
namespace brisko::limits {

/// The writing interface in outline: one virtual call a point.
class Writer {
public:
    virtual ~Writer() = default;
    virtual void write(double x, double y, double z, float i, std::uint8_t r, std::uint8_t g,
                       std::uint8_t b, std::uint8_t a) = 0;
    virtual void close() = 0;
};
class GridWriter {
public:
    virtual ~GridWriter() = default;
    virtual void write(double x, double y, double z, float i, std::uint8_t r, std::uint8_t g,
                       std::uint8_t b, std::uint8_t a, std::uint32_t column, std::uint32_t row) = 0;
    virtual void close() = 0;
};

std::unique_ptr<Writer> makeCL3Writer(const std::string& path);
/// The index goes beside it, as path + ".ij".
std::unique_ptr<GridWriter> makeIndexedWriter(const std::string& path);
std::unique_ptr<GridWriter> makeCLRWriter(const std::string& path);

/// The band of 256 columns behind an indexed scan. It goes out tile by tile: 31 bytes a present cell
/// to one file, 4 bytes a cell to the other, one write each.
class Band {
public:
    Band(const std::string& path, const std::string& indexPath, std::uint32_t columns,
         std::uint32_t rows);

    void add(const Point& p, std::uint32_t column, std::uint32_t row) {
        widenBox(p);
        auto inBand = static_cast<std::int32_t>(column - kTile * m_band);
        while (inBand >= static_cast<std::int32_t>(kTile) && m_band < m_across) {
            emit();
            inBand -= static_cast<std::int32_t>(kTile);
        }
        if (inBand < 0 || inBand >= static_cast<std::int32_t>(kTile) || row >= m_down * kTile) {
            return;
        }
        const std::size_t at = static_cast<std::size_t>(inBand) * m_down * kTile + row;
        Point& cell = m_cells[at];
        cell.x = p.x, cell.y = p.y, cell.z = p.z;
        cell.intensity = p.intensity;
        cell.red = p.red, cell.green = p.green, cell.blue = p.blue;
        m_live[at] = p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0;
    }

    void close() {
        while (m_band < m_across)
            emit();
        m_file.reset();
        m_index.reset();
    }

private:
    BRISKO_OPAQUE void emit();

    void widenBox(const Point& p) {
        const double values[3] = {p.x, p.y, p.z};
        for (int axis = 0; axis < 3; ++axis) {
            m_max[axis] = m_max[axis] >= values[axis] ? m_max[axis] : values[axis];
            m_min[axis] = values[axis] >= m_min[axis] ? m_min[axis] : values[axis];
        }
    }

    std::uint32_t m_across, m_down;  // tiles
    std::uint32_t m_band = 0;
    File m_file, m_index;
    std::vector<Point> m_cells;
    Bytes m_live;  // 1 where a cell holds a point; so the cells never need clearing
    Bytes m_tile;
    std::vector<std::uint32_t> m_entries;
    double m_min[3] = {1e20, 1e20, 1e20}, m_max[3] = {-1e20, -1e20, -1e20};
};

}  // namespace brisko::limits
