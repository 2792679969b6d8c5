#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// Pictures above these are not made small: decoding one must not take the machine's memory.
inline constexpr std::uint64_t kMostPhotoPixels = std::uint64_t{1} << 27;
inline constexpr std::size_t kMostPhotoBytes = std::size_t{256} << 20;

/// A picture (JPEG or PNG) made small for a page: a JPEG of at most `most` bytes, upright as the picture
/// is stored. Empty where it cannot be decoded, or not be made that small.
std::vector<std::uint8_t> thumbnailOf(std::span<const std::uint8_t> picture, std::size_t most);

}  // namespace brisko::scan
