#pragma once

#include "scan/pictures/picture_samples.h"
#include "scan/pictures/picture_view.h"

#include <brisko_scan/panorama.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::scan {

/// The pixels of a row as they go into a file.
struct PixelFormat {
    std::uint32_t channels = 3;  // 1: grey
    bool is16Bit = false;        // native byte order

    std::size_t bytesOf(std::uint32_t width) const {
        return std::size_t{width} * channels * (is16Bit ? 2 : 1);
    }
};

/// Turns samples into pixels: finds the scale, then paints row by row, and keeps one row at a time.
class Picture {
public:
    Picture(const PictureSamples& samples, const PictureView& view, const PanoramaOptions& options);

    const PictureScale& scale() const { return m_scale; }
    /// Whether red, green and blue of all pixels are the same.
    bool isGrey() const;
    /// Red, green and blue (0 to 1) of a value of the scale, unshaded.
    std::array<float, 3> colourOf(float share) const;

    using TakeRow = std::function<void(const std::uint8_t*)>;
    /// Hands out the rows from the top. Throws ScanError(Cancelled) where the options' progress wants no more.
    void paint(const PixelFormat& format, const TakeRow& takeRow) const;

private:
    PictureScale findScale() const;
    float shareOf(float value) const;
    std::array<float, 3> pixelOf(const PictureSample& sample) const;
    void paintRow(std::uint32_t y, const PixelFormat& format, std::uint8_t* out) const;

    const PictureSamples& m_samples;
    const PictureView& m_view;
    const PanoramaOptions& m_options;
    SampleParts m_parts;
    ColourMap m_map;
    PictureScale m_scale;
    float m_logLow = 0, m_logSpan = 0;
    std::vector<std::array<float, 3>> m_colours;  // of shares of the scale, the exponent applied
};

}  // namespace brisko::scan
