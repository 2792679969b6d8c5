#pragma once

#include "rvx_scan_colorizer/decoded_image.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace brisko {

/// Takes the rows of a photo as its file has them, from the top, and makes the upright image of them: some rows
/// at a time, while these are in the cache.
class PhotoRows {
public:
    /// Sizes are those of the file, above 0. Throws std::bad_alloc.
    PhotoRows(int columns, int rows, Turn turn);

    int columns() const { return m_columns; }
    int rows() const { return m_rows; }

    /// Rows that can be filled at once.
    static constexpr int kRoom = 16;
    /// Where the next rows go, the first being 0: blue, green, red of each pixel.
    std::uint8_t* row(int row) {
        return m_room.get() + static_cast<std::ptrdiff_t>(m_stride) * row;
    }
    /// So many are filled; the rows after them are the next ones.
    void take(int count);

    /// Takes all rows of a photo that lie in memory, so many bytes from one to the next.
    void takeAll(const std::uint8_t* pixels, std::size_t rowBytes);

    /// After the last row.
    DecodedImage image() { return std::move(m_image); }

private:
    void putDown(int column, int row, int count, const std::uint8_t* pixels, std::ptrdiff_t step);

    int m_columns, m_rows;
    Turn m_turn;
    std::size_t m_stride;
    std::unique_ptr<std::uint8_t[]> m_room;
    DecodedImage m_image;
    int m_taken = 0;
};

}  // namespace brisko
