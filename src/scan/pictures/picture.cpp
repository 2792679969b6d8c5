#include "scan/pictures/picture.h"

#include "base/worker_pool.h"
#include "scan/pictures/colour_map.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/progress.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace brisko::scan {
namespace {

constexpr float kNearest = 0.001F;  // metres; keeps logarithms finite
constexpr double kCutOff = 0.01;    // share of the samples beyond either end of the scale
constexpr std::size_t kFewColours = 1 << 12,
                      kManyColours = 1 << 16;  // in a table, for 8 and 16 bits
constexpr float kDarkest = 0.09F;              // of greys that stand for values: away from black
constexpr float kShadeOfColours = 0.35F;  // how bright a coloured value stays in the darkest shade
constexpr std::uint32_t kRowsAtOnce = 32;
constexpr double kWantedMedian = 0.42, kDarkPicture = 0.22;
constexpr double kStrongestGamma = 0.35;

float luminanceOf(const PictureColour& c) {
    return 0.3F * c[0] + 0.59F * c[1] + 0.11F * c[2];
}

/// How many samples have each code.
class Histogram {
public:
    void add(float value) {
        ++m_counts[codeOf(value)];
        ++m_total;
    }
    /// The value below which a share of them lies.
    float at(double share) const {
        auto place =
            static_cast<std::uint64_t>(std::llround(share * static_cast<double>(m_total - 1)));
        std::size_t code = 0;
        while (code + 1 < m_counts.size() && place >= m_counts[code])
            place -= m_counts[code++];
        return valueOf(static_cast<std::uint16_t>(code));
    }

private:
    std::vector<std::uint32_t> m_counts = std::vector<std::uint32_t>(1 << 16);
    std::uint64_t m_total = 0;
};

/// The exponent that brings a median to where an eye wants it, where it is darker.
double brightening(double median, double wanted) {
    if (!(median > 0)) return kStrongestGamma;
    if (median >= wanted) return 1;
    return std::clamp(std::log(wanted) / std::log(median), kStrongestGamma, 1.0);
}

float place(float value, float low, float span) {
    if (!(span > 0) || std::isnan(value)) return 0.5F;
    return std::clamp((value - low) / span, 0.0F, 1.0F);
}

}  // namespace

Picture::Picture(const PictureSamples& samples, const PictureView& view,
                 const PanoramaOptions& options)
    : m_samples(samples),
      m_view(view),
      m_options(options),
      m_parts(partsOf(options.mode)),
      m_map(m_parts.colour ? ColourMap::Grey : mapFor(options.mode, options.map)),
      m_scale(findScale()) {
    m_logLow = std::log(std::max(m_scale.low, kNearest));
    m_logSpan = std::log(std::max(m_scale.high, kNearest)) - m_logLow;
    m_colours.resize(options.is16Bit ? kManyColours : kFewColours);
    const bool isNearBright = options.mode == PictureMode::Range && m_map == ColourMap::Grey;
    for (std::size_t i = 0; i < m_colours.size(); ++i) {
        const double share = static_cast<double>(i) / static_cast<double>(m_colours.size() - 1);
        const auto raised =
            static_cast<float>(std::pow(isNearBright ? 1 - share : share, m_scale.gamma));
        m_colours[i] = mappedColour(m_map, m_map == ColourMap::Grey && m_parts.value
                                               ? kDarkest + (1 - kDarkest) * raised
                                               : raised);
    }
}

bool Picture::isGrey() const {
    const auto& [red, green, blue] = m_options.missing;
    return !m_parts.colour && m_map == ColourMap::Grey && red == green && green == blue;
}

PictureScale Picture::findScale() const {
    PictureScale scale;
    scale.gamma = m_options.gamma > 0 ? m_options.gamma : 1;
    scale.isEmpty = m_samples.isEmpty();
    if (scale.isEmpty || !(m_parts.value || m_parts.colour)) return scale;
    Histogram values;
    for (std::uint32_t row = 0; row < m_samples.height(); ++row) {
        for (std::uint32_t column = 0; column < m_samples.width(); ++column) {
            const PictureSample sample = m_samples.at(column, row);
            if (!sample.isEmpty)
                values.add(m_parts.colour ? luminanceOf(sample.colour) / 255 : sample.value);
        }
    }
    if (m_parts.value) {
        scale.low = static_cast<float>(m_options.low.value_or(values.at(kCutOff)));
        scale.high = static_cast<float>(m_options.high.value_or(values.at(1 - kCutOff)));
    }
    if (m_options.gamma > 0) return scale;
    const float median = values.at(0.5);
    if (m_options.mode == PictureMode::Intensity) {
        scale.gamma = brightening(place(median, scale.low, scale.high - scale.low), kWantedMedian);
    } else if (m_options.mode == PictureMode::Colour && median < kDarkPicture) {
        scale.gamma = brightening(median, kDarkPicture);
    }
    return scale;
}

/// Where a value lies between the ends of the scale.
float Picture::shareOf(float value) const {
    if (m_options.mode == PictureMode::Range)
        return place(std::log(std::max(value, kNearest)), m_logLow, m_logSpan);
    return place(value, m_scale.low, m_scale.high - m_scale.low);
}

std::array<float, 3> Picture::colourOf(float share) const {
    return m_colours[static_cast<std::size_t>(share * static_cast<float>(m_colours.size() - 1) +
                                              0.5F)];
}

std::array<float, 3> Picture::pixelOf(const PictureSample& sample) const {
    std::array<float, 3> colour{};
    if (sample.isEmpty) {
        for (std::size_t c = 0; c < 3; ++c)
            colour[c] = static_cast<float>(m_options.missing[c]) / 255;
        return colour;
    }
    if (m_parts.colour) {
        for (std::size_t c = 0; c < 3; ++c) {
            const float share = static_cast<float>(sample.colour[c]) / 255;
            colour[c] = m_scale.gamma == 1
                            ? share
                            : m_colours[static_cast<std::size_t>(
                                  share * static_cast<float>(m_colours.size() - 1))][c];
        }
        return colour;
    }
    colour = colourOf(m_parts.value ? shareOf(sample.value) : sample.shade);
    if (m_parts.shade && m_parts.value) {
        for (float& part : colour)
            part *= kShadeOfColours + (1 - kShadeOfColours) * sample.shade;
    }
    return colour;
}

namespace {

template <class Sample>
void store(const std::vector<std::array<float, 3>>& pixels, std::uint32_t channels,
           std::uint8_t* out) {
    constexpr auto kMost = static_cast<float>(std::numeric_limits<Sample>::max());
    for (const std::array<float, 3>& pixel : pixels) {
        for (std::uint32_t c = 0; c < channels; ++c, out += sizeof(Sample)) {
            const auto sample = static_cast<Sample>(pixel[c] * kMost + 0.5F);
            std::memcpy(out, &sample, sizeof sample);
        }
    }
}

}  // namespace

void Picture::paintRow(std::uint32_t y, const PixelFormat& format, std::uint8_t* out) const {
    std::vector<PixelCells> cells;
    m_view.rowOf(y, cells);
    std::vector<std::array<float, 3>> pixels(cells.size());
    for (std::size_t x = 0; x < cells.size(); ++x)
        pixels[x] = pixelOf(m_samples.mean(cells[x].columns, cells[x].rows));
    if (format.is16Bit) {
        store<std::uint16_t>(pixels, format.channels, out);
    } else {
        store<std::uint8_t>(pixels, format.channels, out);
    }
}

void Picture::paint(const PixelFormat& format, const TakeRow& takeRow) const {
    const std::size_t size = format.bytesOf(m_view.width());
    std::vector<std::uint8_t> rows(kRowsAtOnce * size);
    for (std::uint32_t first = 0; first < m_view.height(); first += kRowsAtOnce) {
        requireGoingOn(m_options.progress);
        const std::uint32_t count = std::min(kRowsAtOnce, m_view.height() - first);
        forEachIndex(
            count,
            [&](std::size_t i) {
                paintRow(first + static_cast<std::uint32_t>(i), format, rows.data() + i * size);
            },
            jobThreads());
        for (std::uint32_t i = 0; i < count; ++i)
            takeRow(rows.data() + i * size);
    }
}

}  // namespace brisko::scan
