#include "rvx_scan_colorizer/photo_rows.h"

#include <algorithm>
#include <cstring>

namespace brisko {

namespace {

constexpr std::ptrdiff_t kPixel = 3;

/// An odd number of cache lines: rows below each other do not compete for the same place in the cache.
/// There is room for a byte after the last pixel, which is read along.
std::size_t strideOf(int columns) {
    constexpr std::size_t kLine = 64;
    const std::size_t lines = (kPixel * static_cast<std::size_t>(columns) + 1) / kLine + 1;
    return (lines | 1) * kLine;
}

DecodedImage uprightImage(int columns, int rows, Turn turn) {
    return turn == Turn::Quarter ? DecodedImage(rows, columns) : DecodedImage(columns, rows);
}

}  // namespace

PhotoRows::PhotoRows(int columns, int rows, Turn turn)
    : m_columns(columns),
      m_rows(rows),
      m_turn(turn),
      m_stride(strideOf(columns)),
      m_room(std::make_unique_for_overwrite<std::uint8_t[]>(m_stride * kRoom)),
      m_image(uprightImage(columns, rows, turn)) {
}

/// Stores pixels below each other. In memory each is so many bytes after the one before it.
void PhotoRows::putDown(int column, int row, int count, const std::uint8_t* pixels,
                        std::ptrdiff_t step) {
    while (count > 0) {
        const int run = std::min(count, DecodedImage::kBlockRows - row % DecodedImage::kBlockRows);
        std::uint8_t* out = m_image.pixel(column, row);
        // Four bytes go at once; the next pixel overwrites the one that is too many.
        for (int i = 1; i < run; ++i, out += kPixel, pixels += step)
            std::memcpy(out, pixels, kPixel + 1);
        std::memcpy(out, pixels, kPixel);
        pixels += step;
        row += run;
        count -= run;
    }
}

void PhotoRows::take(int count) {
    const auto stride = static_cast<std::ptrdiff_t>(m_stride);
    switch (m_turn) {
        case Turn::None:
            for (int column = 0; column < m_columns; ++column)
                putDown(column, m_taken, count, row(0) + kPixel * column, stride);
            break;
        case Turn::Half:
            for (int column = 0; column < m_columns; ++column) {
                putDown(m_columns - 1 - column, m_rows - m_taken - count, count,
                        row(count - 1) + kPixel * column, -stride);
            }
            break;
        case Turn::Quarter:
            for (int i = 0; i < count; ++i) {
                putDown(m_taken + i, 0, m_columns, row(i) + kPixel * (m_columns - 1), -kPixel);
            }
            break;
    }
    m_taken += count;
}

void PhotoRows::takeAll(const std::uint8_t* pixels, std::size_t rowBytes) {
    while (m_taken < m_rows) {
        const int count = std::min(kRoom, m_rows - m_taken);
        for (int i = 0; i < count; ++i, pixels += rowBytes)
            std::memcpy(row(i), pixels, static_cast<std::size_t>(kPixel * m_columns));
        take(count);
    }
}

}  // namespace brisko
