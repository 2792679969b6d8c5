#pragma once

#include <cstdint>

namespace brisko {

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
