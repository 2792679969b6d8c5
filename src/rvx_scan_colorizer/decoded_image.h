#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace brisko {

/// Pixels of an upright photo, 3 bytes each in the order blue, green, red. Scan lines go up and down a photo,
/// so the pixels of small blocks lie together: blocks follow each other from the left, strip after strip from
/// the top, and within a block pixels go down one column, then the next. Blocks at the right and lower edge
/// are filled up.
class DecodedImage {
public:
    static constexpr int kBlockColumns = 4, kBlockRows = 16;  // 192 bytes: three lines of the cache

    /// Empty: no pixels.
    DecodedImage() = default;
    /// Pixels that nothing has set yet; both sizes are above 0. Throws std::bad_alloc.
    DecodedImage(int columns, int rows);

    bool empty() const { return !m_pixels; }
    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    /// Whether the file is damaged, so that some of the pixels are not what the camera saw.
    bool isMended() const { return m_isMended; }
    void setMended(bool isMended) { m_isMended = isMended; }

    /// The pixel below another one follows it, within a block.
    const std::uint8_t* pixel(int column, int row) const {
        return m_pixels.get() + offset(column, row);
    }
    std::uint8_t* pixel(int column, int row) { return m_pixels.get() + offset(column, row); }

private:
    struct Free {
        void operator()(std::uint8_t* pixels) const { std::free(pixels); }
    };
    static constexpr std::size_t kPixelBytes = 3;

    std::size_t offset(int column, int row) const {
        const auto c = static_cast<unsigned>(column), r = static_cast<unsigned>(row);
        const unsigned inBlock = c % kBlockColumns * kBlockRows + r % kBlockRows;
        return r / kBlockRows * m_stripBytes +
               kPixelBytes * (c / kBlockColumns * kBlockColumns * kBlockRows + inBlock);
    }

    std::unique_ptr<std::uint8_t[], Free> m_pixels;
    int m_columns = 0;
    int m_rows = 0;
    std::size_t m_stripBytes = 0;
    bool m_isMended = false;
};

/// How a photo is turned before it is used.
enum class Turn {
    None,
    Quarter,  // counter-clockwise
    Half,
};

/// Bytes of a decoded pixel.
inline constexpr std::uint64_t kBytesPerPixel = 3;

/// Memory for the decoded photos that a handle keeps: 2 GiB, or a quarter of the machine's memory where
/// that is less, but not less than 256 MiB.
std::uint64_t heldPhotoBytes();

/// What a photo takes while it is decoded: its pixels, the same as rows where a decoder gives all of them at
/// once, and the coefficients of a progressive file.
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
