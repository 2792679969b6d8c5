#include "scan/pictures/canvas.h"

#include "scan/pictures/letters.h"

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

constexpr double kPenShare = 0.115;  // thickness of letters, of their height
constexpr std::string_view kLeftOut = "...";

double digitOf(char digit) {
    return digit >= 'a' ? digit - 'a' + 10 : digit - '0';
}

}  // namespace

Canvas::Canvas(std::uint32_t width, std::uint32_t height, const PictureColour& background)
    : m_width(width), m_height(height), m_pixels(std::size_t{3} * width * height) {
    for (std::size_t i = 0; i < m_pixels.size(); ++i)
        m_pixels[i] = background[i % 3];
}

void Canvas::blend(std::int64_t x, std::int64_t y, const PictureColour& colour, float cover) {
    if (x < 0 || y < 0 || x >= m_width || y >= m_height) return;
    std::uint8_t* const pixel = row(static_cast<std::uint32_t>(y)) + 3 * x;
    for (std::size_t c = 0; c < 3; ++c)
        pixel[c] = static_cast<std::uint8_t>(std::lround(
            std::lerp(static_cast<float>(pixel[c]), static_cast<float>(colour[c]), cover)));
}

void Canvas::line(double fromX, double fromY, double toX, double toY, double thickness,
                  const PictureColour& colour) {
    const double radius = thickness / 2;
    const double alongX = toX - fromX, alongY = toY - fromY;
    const double length = alongX * alongX + alongY * alongY;
    const auto firstX = std::llround(std::floor(std::min(fromX, toX) - radius - 1));
    const auto lastX = std::llround(std::ceil(std::max(fromX, toX) + radius + 1));
    const auto firstY = std::llround(std::floor(std::min(fromY, toY) - radius - 1));
    const auto lastY = std::llround(std::ceil(std::max(fromY, toY) + radius + 1));
    for (std::int64_t y = firstY; y <= lastY; ++y) {
        for (std::int64_t x = firstX; x <= lastX; ++x) {
            const double atX = static_cast<double>(x) + 0.5 - fromX;
            const double atY = static_cast<double>(y) + 0.5 - fromY;
            const double share =
                length > 0 ? std::clamp((atX * alongX + atY * alongY) / length, 0.0, 1.0) : 0;
            const double distance = std::hypot(atX - share * alongX, atY - share * alongY);
            const double cover = std::clamp(radius + 0.5 - distance, 0.0, 1.0);
            if (cover > 0) blend(x, y, colour, static_cast<float>(cover));
        }
    }
}

void Canvas::text(double x, double y, double size, std::string_view text,
                  const PictureColour& colour) {
    const double unit = size / kLetterHeight;
    for (const char letter : text) {
        double lastX = 0, lastY = 0;
        bool isFirst = true;
        const std::string_view strokes = strokesOf(letter);
        for (std::size_t i = 0; i + 1 < strokes.size(); i += 2) {
            if (strokes[i] == ' ') {
                isFirst = true;
                ++i;
            }
            const double toX = x + (0.5 + digitOf(strokes[i])) * unit;
            const double toY = y + digitOf(strokes[i + 1]) * unit;
            if (!isFirst) line(lastX, lastY, toX, toY, std::max(1.0, kPenShare * size), colour);
            lastX = toX, lastY = toY;
            isFirst = false;
        }
        x += kLetterAdvance * unit;
    }
}

double Canvas::textWidth(std::string_view text, double size) {
    return static_cast<double>(text.size()) * kLetterAdvance * size / kLetterHeight;
}

std::string shownText(const std::string& utf8, std::size_t most) {
    std::string text;
    for (const char byte : utf8) {
        const auto value = static_cast<unsigned char>(byte);
        const bool continues = (value & 0xc0U) == 0x80U;
        if (!continues) text += value < ' ' || value > '~' ? '?' : byte;
    }
    if (text.size() <= most) return text;
    if (most <= kLeftOut.size()) return text.substr(0, most);
    const std::size_t kept = most - kLeftOut.size();
    return text.substr(0, (kept + 1) / 2) + std::string(kLeftOut) +
           text.substr(text.size() - kept / 2);
}

}  // namespace brisko::scan
