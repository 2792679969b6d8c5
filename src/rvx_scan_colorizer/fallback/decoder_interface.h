#pragma once

#include <cstddef>
#include <cstdint>

/// What the library and its fallback module say to each other.
namespace brisko {

/// Where the module puts what it decoded: called at most once, with rows of width x 3 bytes in the
/// order blue, green, red. The pixels are the module's and live during the call only. May not throw.
using FallbackReceiver = void (*)(void* context, const std::uint8_t* pixels, std::size_t rowStride,
                                  int width, int height);

/// Decodes an image file held in memory. Returns whether the receiver was called.
using FallbackDecode = bool (*)(const std::uint8_t* bytes, std::size_t size,
                                FallbackReceiver receiver, void* context);

inline constexpr const char* kFallbackModule = "libbrisko_codec_fallback.so";
inline constexpr const char* kFallbackSymbol = "briskoFallbackDecode";

}  // namespace brisko
