#include "scan/pictures/picture_view.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace brisko::scan {
namespace {

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr double kHighestCylinder = 1.7320508075688772;  // tangent of 60 degrees
constexpr std::uint32_t kFacesAcross = 3;

/// The gathered cells of a share of the grid: from 0 (column, row 0) to 1; at least one.
CellRange rangeOf(double first, double end, std::uint32_t size) {
    const auto begin = std::min(static_cast<std::uint32_t>(first * size), size - 1);
    const auto stop = static_cast<std::uint32_t>(std::lround(end * size));
    return {begin, std::clamp(stop, begin + 1, size)};
}

CellRange rangeAt(std::uint32_t pixel, std::uint32_t pixels, bool isMirrored, std::uint32_t size) {
    const double place = isMirrored ? pixels - 1 - pixel : pixel;
    return rangeOf(place / pixels, (place + 1) / pixels, size);
}

/// So many cells around a place; none outside of 0 to size.
CellRange rangeAround(double place, std::uint32_t cells, std::uint32_t size) {
    if (!(place >= 0 && place < size)) return {};
    const double first = std::max(0.0, std::floor(place - (cells - 1) / 2.0));
    const auto begin = std::min(static_cast<std::uint32_t>(first), size - 1);
    return {begin, std::min(begin + cells, size)};
}

double roundedDown(double degrees) {
    return degrees - 360 * std::floor(degrees / 360);
}

struct Face {
    std::array<double, 3> ahead, right, up;
};
constexpr std::array<Face, 6> kFaces = {{{{1, 0, 0}, {0, -1, 0}, {0, 0, 1}},
                                         {{0, -1, 0}, {-1, 0, 0}, {0, 0, 1}},
                                         {{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                                         {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}},
                                         {{0, 0, 1}, {0, -1, 0}, {-1, 0, 0}},
                                         {{0, 0, -1}, {0, -1, 0}, {1, 0, 0}}}};

std::uint32_t samplesOf(double pixelDegrees, double sampleDegrees) {
    return static_cast<std::uint32_t>(std::clamp(pixelDegrees / sampleDegrees + 0.5, 1.0, 64.0));
}

}  // namespace

std::optional<std::uint32_t> heightOf(Projection projection, std::uint32_t width) {
    switch (projection) {
        case Projection::Grid:
            break;
        case Projection::Equirectangular:
            return std::max(width / 2, 1U);
        case Projection::Cylindrical:
            return static_cast<std::uint32_t>(
                std::lround(width * kHighestCylinder / std::numbers::pi));
        case Projection::Cube:
            return std::max(width / kFacesAcross * 2, 1U);
    }
    return std::nullopt;
}

PictureView::PictureView(Projection projection, const ScanView& scan, std::uint32_t sampleColumns,
                         std::uint32_t sampleRows, std::uint32_t width, std::uint32_t height)
    : m_projection(projection),
      m_scan(scan),
      m_sampleColumns(sampleColumns),
      m_sampleRows(sampleRows),
      m_width(width),
      m_height(height),
      m_mirrorsColumns(scan.azimuth.known && scan.azimuth.step > 0),
      m_mirrorsRows(scan.zenith.known && scan.zenith.step < 0) {
    if (projection == Projection::Grid) return;
    const double pixel =
        projection == Projection::Cube ? 90.0 * kFacesAcross / width : 360.0 / width;
    m_across = samplesOf(pixel, std::abs(scan.azimuth.step) * scan.columns / sampleColumns);
    m_down = samplesOf(pixel, std::abs(scan.zenith.step) * scan.rows / sampleRows);
}

PictureView::Direction PictureView::directionOf(std::uint32_t x, std::uint32_t y) const {
    const double across = (x + 0.5) / m_width, down = (y + 0.5) / m_height;
    if (m_projection == Projection::Equirectangular) return {180 - 360 * across, 180 * down};
    if (m_projection == Projection::Cylindrical) {
        const double rise = (0.5 - down) * m_height * 2 * std::numbers::pi / m_width;
        return {180 - 360 * across, 90 - std::atan(rise) * kDegrees};
    }
    const std::uint32_t size = std::max(m_width / kFacesAcross, 1U);
    const std::uint32_t column = std::min(x / size, kFacesAcross - 1), row = std::min(y / size, 1U);
    const Face& face = kFaces[row * kFacesAcross + column];
    const double a = 2 * (x - column * size + 0.5) / size - 1;
    const double b = 1 - 2 * (y - row * size + 0.5) / size;
    std::array<double, 3> d{};
    for (std::size_t i = 0; i < d.size(); ++i)
        d[i] = face.ahead[i] + a * face.right[i] + b * face.up[i];
    return {std::atan2(d[1], d[0]) * kDegrees, std::atan2(std::hypot(d[0], d[1]), d[2]) * kDegrees};
}

PixelCells PictureView::cellsAt(const Direction& direction) const {
    const double step = m_scan.azimuth.step;
    // From half a column before the first one on, in the direction in which columns run.
    const double turned = roundedDown(
        (direction.azimuth - m_scan.azimuth.start) * (step < 0 ? -1 : 1) + std::abs(step) / 2);
    const double column = turned / std::abs(step);
    const double row = (direction.zenith - m_scan.zenith.start) / m_scan.zenith.step + 0.5;
    return {rangeAround(column * m_sampleColumns / m_scan.columns, m_across, m_sampleColumns),
            rangeAround(row * m_sampleRows / m_scan.rows, m_down, m_sampleRows)};
}

void PictureView::rowOf(std::uint32_t y, std::vector<PixelCells>& cells) const {
    cells.resize(m_width);
    if (m_projection != Projection::Grid) {
        for (std::uint32_t x = 0; x < m_width; ++x)
            cells[x] = cellsAt(directionOf(x, y));
        return;
    }
    const CellRange rows = rangeAt(y, m_height, m_mirrorsRows, m_sampleRows);
    for (std::uint32_t x = 0; x < m_width; ++x)
        cells[x] = {rangeAt(x, m_width, m_mirrorsColumns, m_sampleColumns), rows};
}

std::optional<AngleStep> PictureView::azimuthAcross() const {
    if (m_projection == Projection::Cube) return std::nullopt;
    if (m_projection != Projection::Grid) return AngleStep{180, -360.0 / m_width, true};
    const auto& [start, step, isKnown] = m_scan.azimuth;
    if (!isKnown) return std::nullopt;
    const double first = start + step * (m_mirrorsColumns ? m_scan.columns - 0.5 : -0.5);
    return AngleStep{first, -std::abs(step) * m_scan.columns / m_width, true};
}

std::optional<AngleStep> PictureView::elevationDown() const {
    if (m_projection == Projection::Equirectangular) return AngleStep{90, -180.0 / m_height, true};
    const auto& [start, step, isKnown] = m_scan.zenith;
    if (m_projection != Projection::Grid || !isKnown) return std::nullopt;
    const double first = start + step * (m_mirrorsRows ? m_scan.rows - 0.5 : -0.5);
    return AngleStep{90 - first, -std::abs(step) * m_scan.rows / m_height, true};
}

}  // namespace brisko::scan
