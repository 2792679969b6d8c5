#pragma once

#include <brisko_codec/point_batch.h>

#include <algorithm>
#include <vector>

namespace brisko {

/// A reader that fills arrays itself, faster than a call a point.
class BatchSource {
public:
    /// Starts a pass. Returns false when the scan cannot be read.
    virtual bool startPass() = 0;
    /// Fills the arrays with the next points of the pass; fewer than capacity only at its end.
    virtual std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) = 0;

protected:
    ~BatchSource() = default;
};

/// One point's place in the arrays of a caller.
class PointArraysWriter {
public:
    explicit PointArraysWriter(const PointArrays& arrays) : m_arrays(arrays) {}

    void put(std::size_t i, double x, double y, double z, float intensity) const {
        if (m_arrays.positions) {
            m_arrays.positions[3 * i] = x;
            m_arrays.positions[3 * i + 1] = y;
            m_arrays.positions[3 * i + 2] = z;
        }
        if (m_arrays.intensities) m_arrays.intensities[i] = intensity;
    }
    void putColour(std::size_t i, std::uint8_t red, std::uint8_t green, std::uint8_t blue) const {
        if (!m_arrays.colours) return;
        m_arrays.colours[3 * i] = red;
        m_arrays.colours[3 * i + 1] = green;
        m_arrays.colours[3 * i + 2] = blue;
    }
    void putCell(std::size_t i, std::uint32_t column, std::uint32_t row) const {
        if (m_arrays.columns) m_arrays.columns[i] = column;
        if (m_arrays.rows) m_arrays.rows[i] = row;
    }
    /// Those of some points; null: all 0.
    void putCells(std::size_t first, std::size_t count, const std::uint32_t* columns,
                  const std::uint32_t* rows) const {
        copy(columns, count, m_arrays.columns, first);
        copy(rows, count, m_arrays.rows, first);
    }

private:
    static void copy(const std::uint32_t* in, std::size_t count, std::uint32_t* out,
                     std::size_t first) {
        if (!out) return;
        if (in) {
            std::copy_n(in, count, out + first);
        } else {
            std::fill_n(out + first, count, 0U);
        }
    }

    const PointArrays m_arrays;
};

/// Arrays of its own for a loop that takes points in batches.
class PointBuffers {
public:
    static constexpr std::size_t kCapacity = 1024;

    PointArrays arrays() {
        return {m_positions.data(), m_intensities.data(), m_colours.data(), m_columns.data(),
                m_rows.data()};
    }
    const double* position(std::size_t i) const { return &m_positions[3 * i]; }
    float intensity(std::size_t i) const { return m_intensities[i]; }
    const std::uint8_t* colour(std::size_t i) const { return &m_colours[3 * i]; }
    std::uint32_t column(std::size_t i) const { return m_columns[i]; }
    std::uint32_t row(std::size_t i) const { return m_rows[i]; }

private:
    std::vector<double> m_positions = std::vector<double>(3 * kCapacity);
    std::vector<float> m_intensities = std::vector<float>(kCapacity);
    std::vector<std::uint8_t> m_colours = std::vector<std::uint8_t>(3 * kCapacity);
    std::vector<std::uint32_t> m_columns = std::vector<std::uint32_t>(kCapacity);
    std::vector<std::uint32_t> m_rows = std::vector<std::uint32_t>(kCapacity);
};

}  // namespace brisko
