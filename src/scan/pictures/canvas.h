#pragma once

#include <brisko_scan/panorama.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {

/// A small picture in memory that text and lines are drawn on: red, green and blue, row by row.
class Canvas {
public:
    Canvas(std::uint32_t width, std::uint32_t height, const PictureColour& background);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }
    std::uint8_t* row(std::uint32_t y) { return m_pixels.data() + std::size_t{3} * y * m_width; }

    /// A dot over a pixel, so much of it covered (0 to 1). What lies outside is passed over.
    void blend(std::int64_t x, std::int64_t y, const PictureColour& colour, float cover);
    void line(double fromX, double fromY, double toX, double toY, double thickness,
              const PictureColour& colour);
    /// Letters that ASCII has; others become '?'.
    ///   x, y  left upper corner of the first letter;  size  height of a capital, pixels
    void text(double x, double y, double size, std::string_view text, const PictureColour& colour);
    static double textWidth(std::string_view text, double size);

private:
    std::uint32_t m_width, m_height;
    std::vector<std::uint8_t> m_pixels;
};

/// A text with at most so many letters: the middle of a longer one is left out. What is no ASCII letter
/// becomes one '?' a character.
std::string shownText(const std::string& utf8, std::size_t most);

}  // namespace brisko::scan
