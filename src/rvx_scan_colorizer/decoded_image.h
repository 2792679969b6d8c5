#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace brisko {

/// Pixels of a photo: rows from the top, 3 bytes a pixel in the order blue, green, red, no padding.
class DecodedImage {
public:
    /// Empty: no pixels.
    DecodedImage() = default;
    /// Pixels that nothing has set yet; both sizes are above 0. Throws std::bad_alloc.
    DecodedImage(int columns, int rows);

    bool empty() const { return !m_pixels; }
    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    std::uint8_t* row(int row) { return m_pixels.get() + offset(row); }
    /// Whether the file is damaged, so that some of the pixels are not what the camera saw.
    bool isMended() const { return m_isMended; }
    void setMended(bool isMended) { m_isMended = isMended; }
    const std::uint8_t* pixel(int column, int row) const {
        return m_pixels.get() + offset(row) + 3 * static_cast<std::size_t>(column);
    }

private:
    struct Free {
        void operator()(std::uint8_t* pixels) const { std::free(pixels); }
    };
    std::size_t offset(int row) const {
        return 3 * static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns);
    }

    std::unique_ptr<std::uint8_t[], Free> m_pixels;
    int m_columns = 0;
    int m_rows = 0;
    bool m_isMended = false;
};

/// How a decoded photo is turned before it is used.
enum class Turn {
    None,
    Quarter,  // counter-clockwise
    Half,
};

DecodedImage turned(DecodedImage image, Turn turn);

/// Bytes of a decoded pixel.
inline constexpr std::uint64_t kBytesPerPixel = 3;

/// Memory for the decoded photos that a handle keeps: 2 GiB, or a quarter of the machine's memory where
/// that is less, but not less than 256 MiB.
std::uint64_t heldPhotoBytes();

/// What a photo takes while it is decoded: its pixels, the same turned, and the coefficients of a
/// progressive file.
constexpr std::uint64_t decodingBytes(std::uint64_t pixels) {
    return pixels * 4 * kBytesPerPixel;
}

/// Lets photos be decoded side by side as far as memory allows: those of the process that are being
/// decoded take at most 1 GiB in all. A photo that takes more is decoded while there is no other.
class DecodingTurn {
public:
    /// Waits until there is room.
    explicit DecodingTurn(std::uint64_t bytes);
    ~DecodingTurn();
    DecodingTurn(const DecodingTurn&) = delete;
    DecodingTurn& operator=(const DecodingTurn&) = delete;

private:
    std::uint64_t m_bytes;
};

}  // namespace brisko
