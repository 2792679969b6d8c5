#pragma once

#include <brisko_codec/cell_reader.h>

#include "base/bytes.h"
#include "layouts/records.h"

#include <cstddef>
#include <cstdint>

namespace brisko {

/// A place in the arrays of a caller, where the cells of a window go one after the other.
class CellArraysWriter {
public:
    CellArraysWriter(const CellArrays& arrays, const CellWindow& window)
        : m_arrays(arrays), m_window(window) {}

    /// Goes to a cell of the window.
    void seek(std::uint32_t column, std::uint32_t row) {
        const auto c = static_cast<std::ptrdiff_t>(column - m_window.firstColumn);
        const auto r = static_cast<std::ptrdiff_t>(row - m_window.firstRow);
        m_position = at(m_arrays.positions, c, r);
        m_intensity = at(m_arrays.intensities, c, r);
        m_colour = at(m_arrays.colours, c, r);
        m_present = at(m_arrays.present, c, r);
    }
    /// Writes a cell and goes to the next row.
    void put(const CL3Record& record) { write(record, 1); }
    void put(const CellPoint& point) {
        put(CL3Record{point.x, point.y, point.z, point.intensity, point.red, point.green,
                      point.blue});
    }
    void putEmpty() {
        const auto& [coordinate, intensity, one] = m_arrays.empty;
        write({coordinate, coordinate, coordinate, intensity, one, one, one}, 0);
    }
    /// The cells of a column from a row on.
    void putEmptyFrom(std::uint32_t column, std::uint64_t row) {
        if (row >= m_window.endRow) return;
        seek(column, static_cast<std::uint32_t>(row));
        while (row++ < m_window.endRow)
            putEmpty();
    }
    void putEmptyWindow() {
        for (std::uint32_t column = m_window.firstColumn; column < m_window.endColumn; ++column)
            putEmptyFrom(column, m_window.firstRow);
    }

private:
    static std::uint8_t* at(const CellArrays::Array& array, std::ptrdiff_t column,
                            std::ptrdiff_t row) {
        if (!array.start) return nullptr;
        return static_cast<std::uint8_t*>(array.start) + column * array.columnStride +
               row * array.rowStride;
    }
    /// Value by value: an array that is put together and copied would be read back before it is stored.
    void write(const CL3Record& record, std::uint8_t present) {
        if (m_position) {
            storeF64(m_position, record.x);
            storeF64(m_position + sizeof record.x, record.y);
            storeF64(m_position + 2 * sizeof record.x, record.z);
            m_position += m_arrays.positions.rowStride;
        }
        if (m_intensity) {
            storeF32(m_intensity, record.intensity);
            m_intensity += m_arrays.intensities.rowStride;
        }
        if (m_colour) {
            m_colour[0] = record.red;
            m_colour[1] = record.green;
            m_colour[2] = record.blue;
            m_colour += m_arrays.colours.rowStride;
        }
        if (m_present) {
            *m_present = present;
            m_present += m_arrays.present.rowStride;
        }
    }

    const CellArrays m_arrays;
    const CellWindow m_window;
    std::uint8_t* m_position = nullptr;
    std::uint8_t* m_intensity = nullptr;
    std::uint8_t* m_colour = nullptr;
    std::uint8_t* m_present = nullptr;
};

}  // namespace brisko
