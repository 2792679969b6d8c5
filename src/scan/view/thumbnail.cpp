#include "scan/view/thumbnail.h"

#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <memory>

namespace brisko::scan {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kLongSide = 800;  // pixels of a thumbnail, about
constexpr int kQuality = 80, kLeastQuality = 50;
// A header may claim any size; a byte of a JPEG holds 512 pixels at the very most.
constexpr std::uint64_t kAnyPixels = std::uint64_t{1} << 22;
constexpr std::uint64_t kMostPixelsPerByte = 512;

struct Closer {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, Closer>;

struct Pixels {
    int width = 0, height = 0;
    Bytes rgb;

    bool hasSizeFor(std::size_t bytes) {
        if (width <= 0 || height <= 0) return false;
        const std::uint64_t pixels = std::uint64_t(width) * std::uint64_t(height);
        return pixels <= kMostPhotoPixels &&
               (pixels <= kAnyPixels || pixels <= kMostPixelsPerByte * bytes);
    }
    void allocate() { rgb.resize(3 * std::size_t(width) * std::size_t(height)); }
};

/// Empty where the encoder fails.
Bytes encode(const Pixels& pixels, int quality) {
    const Handle encoder(tjInitCompress());
    unsigned char* out = nullptr;
    unsigned long size = 0;
    const bool isDone =
        encoder && tjCompress2(encoder.get(), pixels.rgb.data(), pixels.width, 0, pixels.height,
                               TJPF_RGB, &out, &size, TJSAMP_420, quality, 0) == 0;
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(out, tjFree);
    return isDone ? Bytes(out, out + size) : Bytes();
}

/// A JPEG in memory that is decoded at eighths of its size, which is far faster than decoding all of it.
class JpegSource {
public:
    explicit JpegSource(std::span<const std::uint8_t> bytes)
        : m_bytes(bytes), m_decoder(tjInitDecompress()) {
        int sampling = 0, space = 0;
        if (!m_decoder ||
            tjDecompressHeader3(m_decoder.get(), bytes.data(), length(), &m_full.width,
                                &m_full.height, &sampling, &space) != 0) {
            m_full.width = 0;
        }
    }

    bool isUsable() { return m_full.hasSizeFor(m_bytes.size()); }

    /// The most eighths that give a picture of no more than kLongSide; else 1.
    int eighths() const {
        const int side = std::max(m_full.width, m_full.height);
        return std::clamp(8 * kLongSide / side, 1, 8);
    }

    /// Without pixels where the decoder gives up. A picture that is torn, it mends.
    Pixels decode(int eighths) const {
        const tjscalingfactor factor{eighths, 8};
        Pixels pixels{TJSCALED(m_full.width, factor), TJSCALED(m_full.height, factor), {}};
        pixels.allocate();
        const int failed = tjDecompress2(m_decoder.get(), m_bytes.data(), length(),
                                         pixels.rgb.data(), pixels.width, 0, pixels.height,
                                         TJPF_RGB, TJFLAG_FASTDCT | TJFLAG_LIMITSCANS);
        if (failed && tjGetErrorCode(m_decoder.get()) != TJERR_WARNING) pixels.rgb.clear();
        return pixels;
    }

private:
    unsigned long length() const { return static_cast<unsigned long>(m_bytes.size()); }

    std::span<const std::uint8_t> m_bytes;
    Handle m_decoder;
    Pixels m_full;  // its size
};

bool isPng(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 8 && png_sig_cmp(bytes.data(), 0, 8) == 0;
}

/// A PNG as a JPEG of the same size. Empty where it cannot be decoded.
Bytes jpegOfPng(std::span<const std::uint8_t> bytes) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size())) return {};
    image.format = PNG_FORMAT_RGB;
    Pixels pixels{static_cast<int>(image.width), static_cast<int>(image.height), {}};
    const bool isUsable = pixels.hasSizeFor(bytes.size());
    if (isUsable) pixels.allocate();
    const bool isRead =
        isUsable && png_image_finish_read(&image, nullptr, pixels.rgb.data(), 0, nullptr) != 0;
    png_image_free(&image);
    return isRead ? encode(pixels, 95) : Bytes();
}

}  // namespace

Bytes thumbnailOf(std::span<const std::uint8_t> picture, std::size_t most) {
    if (isPng(picture)) {
        const Bytes jpeg = jpegOfPng(picture);
        return jpeg.empty() ? Bytes() : thumbnailOf(jpeg, most);
    }
    JpegSource source(picture);
    if (!source.isUsable()) return {};
    for (int eighths = source.eighths(); eighths > 0; --eighths) {
        const Pixels pixels = source.decode(eighths);
        if (pixels.rgb.empty()) return {};
        for (const int quality : {kQuality, kLeastQuality}) {
            Bytes small = encode(pixels, quality);
            if (!small.empty() && small.size() <= most) return small;
        }
    }
    return {};
}

}  // namespace brisko::scan
