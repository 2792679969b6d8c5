#pragma once

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/decoded_image.h"

#include <span>
#include <string>

namespace brisko {

struct ImageSize {
    int width = 0;
    int height = 0;
};

/// Photos above these are refused: decoding one must not take the host's memory.
inline constexpr std::uint64_t kMaxJpegPixels = std::uint64_t{1} << 27;
inline constexpr std::uint64_t kMaxJpegBytes = std::uint64_t{256} << 20;
inline constexpr int kMaxJpegScans = 500;

/// A header may claim any size. From 2^22 pixels on it must be one that the file's bytes can hold:
/// Huffman codes take at least a bit for each square of 8 x 8 pixels, so a byte holds 512 pixels at the
/// very most. Photos have 2 to 50.
inline constexpr std::uint64_t kAnyJpegPixels = std::uint64_t{1} << 22;
inline constexpr std::uint64_t kMostPixelsPerByte = 512;

namespace jpeg_text {
inline constexpr const char* kNoHandle = "Unable to create JPEG handle!";
inline constexpr const char* kUnreadable = "Unable to read JPEG!";

// Where the errors say that they come from. These are names by which logs are searched, not the
// places of today's code.
inline constexpr const char* kFile = "rvx_scan_colorizer/src/ImageData";
inline constexpr const char* kSizeFunction =
    "void __cdecl ImageData::getImageDimention(int &,int &)";
inline constexpr const char* kDecodeFunction = "void __cdecl ImageData::setImage(int,bool)";
}  // namespace jpeg_text

/// The size in a JPEG's header.
/// Throws: std::exception, without a message, when the file cannot be opened; std::runtime_error with
/// a text (of jpeg_text, or the decoder's own) when it holds no header or is beyond the limits.
ImageSize getImageDimention(const std::string& path);

/// Why getImageDimention refuses a file, for people: "its header claims 16384 x 16384 pixels, more than
/// its 631 bytes can hold". Empty where its header is well.
std::string jpegFault(const std::string& path);

/// Decodes and turns a JPEG. What TurboJPEG cannot decode is left to the fallback decoder; the
/// image is then a mended one.
/// Throws: as getImageDimention; std::exception, without a message, when nothing could be decoded;
///         WorkStopped where goesOn(), asked in this thread between rows, answers false.
DecodedImage readImage(const std::string& path, Turn turn, const GoesOn& goesOn = {});

/// The second decoder for photos, loaded from the module beside this library when it is first needed
/// and kept until the process ends.
/// Returns: an empty image when the module is not there or cannot make anything of the bytes.
DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, Turn turn = Turn::None);

/// The same with the module of a certain folder.
DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, const std::string& folder);

}  // namespace brisko
