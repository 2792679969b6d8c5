#include "scan/pictures/legend.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace brisko::scan {
namespace {

constexpr PictureColour kPaper = {250, 250, 250}, kInk = {45, 45, 45}, kLines = {130, 130, 130};
constexpr std::array kTickSteps = {1, 2, 5, 10, 15, 30, 45, 90};  // degrees
constexpr double kLettersPerTick = 9;

double letterSize(std::uint32_t width) {
    return std::clamp(width / 110.0, 8.0, 26.0);
}

struct ScaleText {
    const char* name;
    const char* unit;  // after the numbers
};

ScaleText textOf(PictureMode mode) {
    switch (mode) {
        case PictureMode::Range:
            return {"range", " m"};
        case PictureMode::Intensity:
            return {"intensity", ""};
        case PictureMode::Height:
            return {"height", " m"};
        case PictureMode::Incidence:
            return {"incidence", " deg"};
        case PictureMode::Shaded:
            return {"shaded", ""};
        case PictureMode::Colour:
            return {"colour", ""};
        case PictureMode::Normals:
            return {"normals: red x, green y, blue z", ""};
    }
    return {"", ""};
}

std::string number(float value, const char* unit) {
    char text[48];
    const bool isLarge = std::abs(value) >= 1000;
    std::snprintf(text, sizeof text, isLarge ? "%.0f%s" : "%.3g%s", static_cast<double>(value),
                  unit);
    return text;
}

/// Marks along the upper edge, as close as their numbers allow.
void drawAzimuths(Canvas& canvas, const AngleStep& azimuth, double size) {
    const double pixelDegrees = std::abs(azimuth.step);
    const double room = Canvas::textWidth("0", size) * kLettersPerTick * pixelDegrees;
    const auto fits = [&](int step) { return step >= room; };
    const auto* const found = std::find_if(kTickSteps.begin(), kTickSteps.end(), fits);
    const int step = found != kTickSteps.end() ? *found : kTickSteps.back();
    const double last = azimuth.start + azimuth.step * canvas.width();
    const auto firstTick = static_cast<int>(std::ceil(std::min(azimuth.start, last) / step));
    const auto lastTick = static_cast<int>(std::floor(std::max(azimuth.start, last) / step));
    canvas.line(0, 0.5, canvas.width(), 0.5, 1, kLines);
    for (int tick = firstTick; tick <= lastTick; ++tick) {
        const double x = (tick * step - azimuth.start) / azimuth.step;
        canvas.line(x, 0, x, 0.5 * size, 1.5, kInk);
        const int degrees = ((tick * step) % 360 + 360) % 360;
        const std::string text = std::to_string(degrees);
        const double width = Canvas::textWidth(text, size);
        if (x < width || x + width > canvas.width()) continue;
        canvas.text(x - width / 2, 0.9 * size, size, text, kInk);
    }
}

/// The colours of the scale from right to left of the strip's end. Returns where they begin.
double drawScale(Canvas& canvas, const Picture& picture, PictureMode mode, double size,
                 double top) {
    const double right = canvas.width() - size;
    if (!partsOf(mode).value || picture.scale().isEmpty) return right;
    const char* const unit = textOf(mode).unit;
    const std::string low = number(picture.scale().low, ""),
                      high = number(picture.scale().high, unit);
    const double end = right - Canvas::textWidth(high, size) - 0.6 * size;
    const double begin = end - std::clamp(canvas.width() / 4.0, 40.0, 700.0);
    const double labelled = begin - Canvas::textWidth(low, size) - 0.6 * size;
    if (labelled < size) return right;  // no room for it
    canvas.text(labelled, top, size, low, kInk);
    canvas.text(end + 0.6 * size, top, size, high, kInk);
    for (auto x = std::llround(begin); x < std::llround(end); ++x) {
        const auto share =
            static_cast<float>((static_cast<double>(x) + 0.5 - begin) / (end - begin));
        PictureColour colour{};
        const std::array<float, 3> parts = picture.colourOf(std::clamp(share, 0.0F, 1.0F));
        for (std::size_t c = 0; c < 3; ++c)
            colour[c] = static_cast<std::uint8_t>(std::lround(parts[c] * 255));
        for (auto y = std::llround(top); y < std::llround(top + size); ++y)
            canvas.blend(x, y, colour, 1);
    }
    return labelled;
}

}  // namespace

std::uint32_t legendHeight(std::uint32_t width) {
    return static_cast<std::uint32_t>(std::lround(4.6 * letterSize(width)));
}

Canvas drawLegend(const Picture& picture, const PictureView& view, PictureMode mode,
                  const std::string& name) {
    Canvas canvas(view.width(), legendHeight(view.width()), kPaper);
    const double size = letterSize(view.width());
    if (const auto azimuth = view.azimuthAcross()) drawAzimuths(canvas, *azimuth, size);
    const double top = 2.9 * size;
    const double end = drawScale(canvas, picture, mode, size, top);
    const std::string whole = name + "   " + textOf(mode).name;
    const double room = (end - 2 * size) / Canvas::textWidth("0", size);
    canvas.text(size, top, size, shownText(whole, room > 0 ? static_cast<std::size_t>(room) : 0),
                kInk);
    return canvas;
}

}  // namespace brisko::scan
