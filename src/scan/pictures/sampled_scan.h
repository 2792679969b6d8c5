#pragma once

#include "scan/formats/angle_estimate.h"
#include "scan/formats/scan_input.h"
#include "scan/pictures/gathered_columns.h"
#include "scan/pictures/picture_samples.h"
#include "scan/pictures/surface.h"

#include <brisko_scan/panorama.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace brisko::scan {

/// Turns a scan's points into the samples of a picture, in one pass: columns are gathered, shaded on all
/// processors when their neighbours are there, and kept as samples.
class SampledScan {
public:
    SampledScan(const ScanInfo& info, const PanoramaOptions& options, std::uint32_t width,
                std::uint32_t height);

    void add(std::span<const CellPoint> points);
    /// After the last points.
    void end();

    const PictureSamples& samples() const { return m_samples; }
    AngleStep azimuth() const { return m_angles.azimuth(); }
    AngleStep zenith() const { return m_angles.zenith(); }
    /// Whether a point was not black.
    bool sawColour() const { return m_sawColour; }

private:
    void sampleUpTo(std::uint32_t end);
    void sampleSurfaces(std::uint32_t first, std::uint32_t end);
    void sampleValues(std::uint32_t column);
    PictureSample sampleOf(const SurfaceCell& cell) const;

    PictureMode m_mode;
    std::array<float, 4> m_heightRow{};  // of the alignment: from a place to its height
    AngleEstimate m_angles;
    std::size_t m_points = 0;
    bool m_sawColour = false;
    GatheredColumns m_gathered;
    std::optional<Surface> m_surface;
    std::uint32_t m_set = 0;      // columns that the surface has
    std::uint32_t m_sampled = 0;  // columns that are samples
    PictureSamples m_samples;
};

}  // namespace brisko::scan
