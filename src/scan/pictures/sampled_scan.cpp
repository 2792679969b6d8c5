#include "scan/pictures/sampled_scan.h"

#include <brisko_codec/threads.h>

#include "base/worker_pool.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kStrip = 32;          // columns that a worker takes at a time
constexpr std::size_t kManyPoints = 1 << 20;  // from here on a part of them shows the angles
constexpr std::size_t kPartOfPoints = 13;

GatheredValue gatheredFor(PictureMode mode) {
    if (mode == PictureMode::Intensity) return GatheredValue::Intensity;
    if (mode == PictureMode::Colour) return GatheredValue::Colour;
    return GatheredValue::Position;
}

GatherShape shapeOf(const ScanInfo& info, std::uint32_t width, std::uint32_t height) {
    return {info.columns, info.rows, std::clamp(info.columns, 1U, width),
            std::clamp(info.rows, 1U, height), info.bandColumns};
}

}  // namespace

SampledScan::SampledScan(const ScanInfo& info, const PanoramaOptions& options, std::uint32_t width,
                         std::uint32_t height)
    : m_mode(options.mode),
      m_angles(info.columns, info.rows),
      m_gathered(shapeOf(info, width, height), gatheredFor(options.mode)),
      m_samples(std::clamp(info.columns, 1U, width), std::clamp(info.rows, 1U, height),
                partsOf(options.mode), options.is16Bit) {
    for (std::size_t i = 0; i < m_heightRow.size(); ++i)
        m_heightRow[i] = static_cast<float>(info.alignment.matrix[8 + i]);
    if (gatheredFor(options.mode) == GatheredValue::Position)
        m_surface.emplace(m_samples.width(), m_samples.height());
}

void SampledScan::add(std::span<const CellPoint> points) {
    if (m_mode == PictureMode::Colour && !m_sawColour) {
        m_sawColour = std::any_of(points.begin(), points.end(),
                                  [](const CellPoint& p) { return p.red || p.green || p.blue; });
    }
    m_angles.add(points, m_points < kManyPoints ? 1 : kPartOfPoints);
    m_points += points.size();
    m_gathered.add(points);
    sampleUpTo(m_gathered.complete());
}

void SampledScan::end() {
    m_gathered.end();
    sampleUpTo(m_samples.width());
}

void SampledScan::sampleUpTo(std::uint32_t end) {
    if (!m_surface) {
        for (; m_sampled < end; ++m_sampled)
            sampleValues(m_sampled);
        return;
    }
    for (; m_set < end; ++m_set)
        m_surface->setColumn(m_set, m_gathered.take(m_set));
    const bool isLast = end == m_samples.width();
    const std::uint32_t known = isLast ? end : end - std::min(end, Surface::kReach);
    if (known <= m_sampled) return;
    sampleSurfaces(m_sampled, known);
    m_sampled = known;
    m_surface->releaseBefore(known - std::min(known, Surface::kReach));
}

void SampledScan::sampleSurfaces(std::uint32_t first, std::uint32_t end) {
    const std::uint32_t firstStrip = first / kStrip, endStrip = (end + kStrip - 1) / kStrip;
    forEachIndex(
        endStrip - firstStrip,
        [&](std::size_t index) {
            const std::uint32_t strip = (firstStrip + static_cast<std::uint32_t>(index)) * kStrip;
            const std::uint32_t begin = std::max(strip, first),
                                stop = std::min(strip + kStrip, end);
            std::vector<SurfaceCell> cells;
            m_surface->shade(begin, stop, cells);
            std::vector<PictureSample> column(m_samples.height());
            const SurfaceCell* cell = cells.data();
            for (std::uint32_t x = begin; x < stop; ++x) {
                for (PictureSample& sample : column)
                    sample = sampleOf(*cell++);
                m_samples.setColumn(x, column);
            }
        },
        jobThreads());
}

PictureSample SampledScan::sampleOf(const SurfaceCell& cell) const {
    PictureSample sample;
    if (!(cell.range > 0)) return sample;
    sample.isEmpty = false;
    sample.shade = cell.shade;
    const auto& [x, y, z] = cell.place;
    const auto& [nx, ny, nz] = cell.normal;
    switch (m_mode) {
        case PictureMode::Range:
            sample.value = cell.range;
            break;
        case PictureMode::Height:
            sample.value =
                m_heightRow[0] * x + m_heightRow[1] * y + m_heightRow[2] * z + m_heightRow[3];
            break;
        case PictureMode::Incidence: {
            const float cosine = std::clamp(-(nx * x + ny * y + nz * z) / cell.range, 0.0F, 1.0F);
            sample.isEmpty = nx == 0 && ny == 0 && nz == 0;
            sample.value = std::acos(cosine) * 180 / std::numbers::pi_v<float>;
            break;
        }
        case PictureMode::Normals:
            sample.isEmpty = nx == 0 && ny == 0 && nz == 0;
            for (std::size_t c = 0; c < 3; ++c)
                sample.colour[c] =
                    static_cast<std::uint8_t>(std::lround(127.5F + 127.5F * cell.normal[c]));
            break;
        case PictureMode::Shaded:
        case PictureMode::Intensity:
        case PictureMode::Colour:
            break;
    }
    return sample;
}

/// Of intensities and colours, which need no neighbours.
void SampledScan::sampleValues(std::uint32_t column) {
    const std::vector<GatheredCell> cells = m_gathered.take(column);
    std::vector<PictureSample> samples(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        samples[i].isEmpty = cells[i].count == 0;
        samples[i].value = cells[i].values[0];
        for (std::size_t c = 0; c < 3 && m_mode == PictureMode::Colour; ++c)
            samples[i].colour[c] = static_cast<std::uint8_t>(std::lround(cells[i].values[c]));
    }
    m_samples.setColumn(column, samples);
}

}  // namespace brisko::scan
