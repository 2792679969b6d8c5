#include "panorama/picture.h"

#include <algorithm>
#include <cmath>

namespace brisko::tool {
namespace {

constexpr std::uint8_t kEmptyColour[3] = {12, 20, 64};
constexpr double kDarkest = 24;  // greys start here, away from the colour of empty cells
constexpr double kBrightest = 255;
constexpr double kNearest = 0.001;  // metres; keeps logarithms finite
constexpr double kCutOff = 0.01;    // share of the pixels beyond either end of the scale

/// The values of all pixels, upright.
std::vector<PictureValue> collect(const PictureGrid& grid, const PictureOrientation& orientation,
                                  std::uint32_t width, std::uint32_t height) {
    std::vector<PictureValue> values;
    values.reserve(std::size_t{width} * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint32_t row = orientation.mirrorRows ? height - 1 - y : y;
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::uint32_t column = orientation.mirrorColumns ? width - 1 - x : x;
            values.push_back(grid.mean(
                static_cast<double>(column) / width, static_cast<double>(column + 1) / width,
                static_cast<double>(row) / height, static_cast<double>(row + 1) / height));
        }
    }
    return values;
}

float percentile(std::vector<float>& sorted, double share) {
    const auto last = static_cast<double>(sorted.size() - 1);
    const auto place = sorted.begin() + std::lround(share * last);
    std::nth_element(sorted.begin(), place, sorted.end());
    return *place;
}

PictureScale findScale(const std::vector<PictureValue>& values) {
    std::vector<float> shown;
    for (const PictureValue& value : values) {
        if (!value.isEmpty) shown.push_back(value.channels[0]);
    }
    PictureScale scale;
    if (shown.empty()) return scale;
    scale.isEmpty = false;
    scale.low = percentile(shown, kCutOff);
    scale.high = percentile(shown, 1 - kCutOff);
    return scale;
}

/// 0 at one end of the scale, 1 at the other.
double place(double value, double low, double high) {
    return high > low ? std::clamp((value - low) / (high - low), 0.0, 1.0) : 0.5;
}

std::uint8_t grey(double share) {
    return static_cast<std::uint8_t>(std::lround(kDarkest + share * (kBrightest - kDarkest)));
}

double shareOf(double value, PictureMode mode, const PictureScale& scale) {
    const auto low = static_cast<double>(scale.low);
    const auto high = static_cast<double>(scale.high);
    if (mode == PictureMode::Intensity) return place(value, low, high);
    const auto log = [](double metres) { return std::log(std::max(metres, kNearest)); };
    return 1 - place(log(value), log(low), log(high));
}

void paintPixel(const PictureValue& value, PictureMode mode, const PictureScale& scale,
                std::uint8_t* pixel) {
    if (value.isEmpty) {
        std::copy(std::begin(kEmptyColour), std::end(kEmptyColour), pixel);
    } else if (mode == PictureMode::Colour) {
        for (int c = 0; c < 3; ++c) {
            pixel[c] = static_cast<std::uint8_t>(std::lround(value.channels[c]));
        }
    } else {
        std::fill_n(pixel, 3, grey(shareOf(static_cast<double>(value.channels[0]), mode, scale)));
    }
}

}  // namespace

Picture paintPicture(const PictureGrid& grid, PictureMode mode,
                     const PictureOrientation& orientation, std::uint32_t width,
                     std::uint32_t height, PictureScale& scale) {
    const std::vector<PictureValue> values = collect(grid, orientation, width, height);
    scale = findScale(values);
    Picture picture{width, height, std::vector<std::uint8_t>(3 * values.size())};
    for (std::size_t i = 0; i < values.size(); ++i) {
        paintPixel(values[i], mode, scale, picture.pixels.data() + 3 * i);
    }
    return picture;
}

}  // namespace brisko::tool
