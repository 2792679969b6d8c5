#pragma once

#include "rvx_scan_colorizer/decoded_image.h"

#include <string>

namespace brisko {

struct ImageSize {
    int width = 0;
    int height = 0;
};

/// Photos above these are refused: decoding one must not take the host's memory.
inline constexpr std::uint64_t kMaxJpegPixels = std::uint64_t{1} << 28;
inline constexpr std::uint64_t kMaxJpegBytes = std::uint64_t{256} << 20;
inline constexpr int kMaxJpegScans = 500;

namespace jpeg_text {
inline constexpr const char* kNoHandle = "Unable to create JPEG handle!";
inline constexpr const char* kUnreadable = "Unable to read JPEG!";
inline constexpr const char* kNotRotated = "Failed to rotate image";

// Where the errors say that they come from. These are names by which logs are searched, not the
// places of today's code.
inline constexpr const char* kFile = "rvx_scan_colorizer/src/ImageData";
inline constexpr const char* kSizeFunction =
    "void __cdecl ImageData::getImageDimention(int &,int &)";
inline constexpr const char* kDecodeFunction = "void __cdecl ImageData::setImage(int,bool)";
}  // namespace jpeg_text

/// The size that a JPEG's header tells.
/// Throws: std::exception, without a message, when the file cannot be opened; std::runtime_error with
/// a text (of jpeg_text, or the decoder's own) when it holds no header or is beyond the limits.
ImageSize getImageDimention(const std::string& path);

/// Decodes and turns a JPEG. What TurboJPEG cannot decode is left to the fallback decoder; the
/// image is then a mended one.
/// Throws: as getImageDimention; std::exception, without a message, when nothing could be decoded.
DecodedImage readImage(const std::string& path, Turn turn);

}  // namespace brisko
