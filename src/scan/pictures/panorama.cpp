#include <brisko_scan/panorama.h>

#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/angle_estimate.h"
#include "scan/formats/scan_input.h"
#include "scan/pictures/picture.h"

#include <brisko_scan/photos.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kSmallestDefaultWidth = 1024;  // pixels
constexpr std::uint32_t kLargestDefaultWidth = 4096;
constexpr std::uint32_t kMostPixelsAlong = 32767;
constexpr std::uint64_t kMostPixels = 1 << 26;
constexpr std::uint64_t kAlwaysFine = 1 << 22;  // pixels, however small the grid is
constexpr std::uint64_t kMostPerCell = 16;      // pixels; more show nothing more
constexpr double kMostAspect = 16;              // beyond it, the angles give no useful picture

/// 0 where it is left to be found.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

void requireDrawable(const Size& size) {
    if (size.width <= kMostPixelsAlong && size.height <= kMostPixelsAlong &&
        std::uint64_t{size.width} * size.height <= kMostPixels) {
        return;
    }
    throw ScanError(ErrorKind::Request, {},
                    std::to_string(size.width) + " x " + std::to_string(size.height) +
                        " pixels: a picture has at most 32767 a side and 67 million in all");
}

std::uint64_t pixelsOf(const Size& size) {
    return std::uint64_t{size.width} * size.height;
}

/// The most pixels that a picture of a grid can have: beyond some a cell, it only grows.
std::uint64_t mostPixelsFor(const ScanInfo& info) {
    const std::uint64_t cells = std::uint64_t{info.columns} * info.rows;
    const std::uint64_t most = cells < kMostPixels ? kMostPerCell * cells : kMostPixels;
    return std::clamp(most, kAlwaysFine, kMostPixels);
}

[[noreturn]] void failWithoutColour(const std::string& scan) {
    const std::string hint = hintAtPhotos(scan);
    throw ScanError(ErrorKind::Request, scan, "the scan has no colour",
                    hint.empty() ? "draw its range or intensity instead" : hint);
}

class Panorama {
public:
    explicit Panorama(const PanoramaOptions& options)
        : m_options(options),
          m_input(openScan(options.input)),
          m_size{options.width, options.height} {
        if (!info().hasGrid) {
            throw ScanError(ErrorKind::Request, options.input,
                            "the scan has no index (" + companionOf(options.input, ".ij") +
                                "), so the cells of its points are not known");
        }
        if (options.mode == PictureMode::Colour && !info().storesColour)
            failWithoutColour(options.input);
        if (m_size.width == 0) {
            m_size.width = std::clamp(info().columns, kSmallestDefaultWidth, kLargestDefaultWidth);
        }
        requireGridFor(m_size);
    }

    PanoramaResult toFile() {
        StagedScan staged(m_options.output);
        PngFile file(staged.path(), m_options.output);
        const PictureScale scale = draw([&] { file.begin(m_size.width, m_size.height); },
                                        [&](const std::uint8_t* row) { file.writeRow(row); });
        file.close();
        staged.commit(m_options.progress);
        if (scale.isEmpty && m_options.warning) {
            m_options.warning(m_options.output + ": shows nothing; the scan has no point");
        }
        return {m_size.width, m_size.height, bytesOf(m_options.output), scale};
    }

    PanoramaResult toPixels(std::vector<std::uint8_t>& pixels) {
        pixels.clear();
        const PictureScale scale =
            draw([&] { pixels.reserve(3 * pixelsOf(m_size)); },
                 [&](const std::uint8_t* row) {
                     pixels.insert(pixels.end(), row, row + 3 * std::size_t{m_size.width});
                 });
        return {m_size.width, m_size.height, pixels.size(), scale};
    }

private:
    const ScanInfo& info() const { return m_input->info(); }

    /// begin: called when the size is known; takeRow: for every row of pixels from the top.
    template <class Begin>
    PictureScale draw(const Begin& begin, const std::function<void(const std::uint8_t*)>& takeRow) {
        PictureGrid grid(m_options.mode, info().columns, info().rows, m_size.width,
                         m_size.height > 0 ? m_size.height : m_size.width);
        AngleEstimate angles(info().columns, info().rows);
        gather(grid, angles);
        if (m_size.height == 0) chooseHeight(angles);

        const Picture picture(grid, m_options.mode, orientation(angles), m_size.width,
                              m_size.height, m_options.progress);
        if (m_options.mode == PictureMode::Colour && !picture.scale().isEmpty && !m_sawColour) {
            failWithoutColour(m_options.input);
        }
        begin();
        picture.paint(takeRow);
        return picture.scale();
    }

    /// A picture far larger than the grid shows nothing more, and takes the time and the disk of one.
    void requireGridFor(const Size& size) const {
        const std::uint64_t most = mostPixelsFor(info());
        if (pixelsOf({size.width, std::max(size.height, 1u)}) <= most) return;
        throw ScanError(ErrorKind::Request, {},
                        std::to_string(size.width) + " x " + std::to_string(size.height) +
                            " pixels are too many for the " + std::to_string(info().columns) +
                            " x " + std::to_string(info().rows) + " cells of " + m_options.input +
                            "; at most " + std::to_string(most) + " are drawn");
    }

    /// As the angles ask for. A width that nobody asked for gives way where both are too much.
    void chooseHeight(const AngleEstimate& angles) {
        m_size.height = heightFor(angles);
        const std::uint64_t most = mostPixelsFor(info());
        if (m_options.width == 0 && pixelsOf(m_size) > most) {
            const double share =
                std::sqrt(static_cast<double>(most) / static_cast<double>(pixelsOf(m_size)));
            m_size.width = std::max(1u, static_cast<std::uint32_t>(m_size.width * share));
            m_size.height = heightFor(angles);
        }
        requireDrawable(m_size);
        if (m_options.width > 0) requireGridFor(m_size);
    }

    void gather(PictureGrid& grid, AngleEstimate& angles) {
        TaskProgress progress(m_options.progress, "panorama", m_input->steps(),
                              m_input->stepUnit());
        const auto isColoured = [](const CellPoint& p) { return p.red || p.green || p.blue; };
        std::vector<CellPoint> points;
        for (m_input->read(points); !points.empty(); m_input->read(points)) {
            grid.add(points);
            angles.add(points);
            m_sawColour = m_sawColour || std::any_of(points.begin(), points.end(), isColoured);
            progress.advanceTo(m_input->stepsDone());
        }
    }

    /// As high as the scan's angles are to its width; as the grid where these are not known.
    std::uint32_t heightFor(const AngleEstimate& angles) const {
        const double rows = std::max(info().rows, 1u);
        const double columns = std::max(info().columns, 1u);
        const AngleStep azimuth = angles.azimuth();
        const AngleStep zenith = angles.zenith();
        const double byAngle = rows * std::abs(zenith.step) / (columns * std::abs(azimuth.step));
        const bool usable =
            azimuth.known && zenith.known && byAngle >= 1 / kMostAspect && byAngle <= kMostAspect;
        const double aspect =
            usable ? byAngle : std::clamp(rows / columns, 1 / kMostAspect, kMostAspect);
        const double height = std::round(m_size.width * aspect);
        return static_cast<std::uint32_t>(std::clamp(height, 1.0, double{kMostPixelsAlong}));
    }

    static PictureOrientation orientation(const AngleEstimate& angles) {
        const AngleStep azimuth = angles.azimuth();
        const AngleStep zenith = angles.zenith();
        return {azimuth.known && azimuth.step > 0, zenith.known && zenith.step < 0};
    }

    const PanoramaOptions& m_options;
    std::unique_ptr<ScanInput> m_input;
    Size m_size;
    bool m_sawColour = false;
};

}  // namespace

PanoramaResult drawPanorama(const PanoramaOptions& options) {
    if (extensionOf(options.output) != ".png") {
        throw ScanError(ErrorKind::Request, options.output, "the picture is named .png");
    }
    // Before anything is opened.
    requireDrawable({options.width, std::max(options.height, 1u)});
    requireNew(options.output, options.overwrite);
    return Panorama(options).toFile();
}

PanoramaResult paintPanorama(const PanoramaOptions& options, std::vector<std::uint8_t>& pixels) {
    requireDrawable({options.width, std::max(options.height, 1u)});
    return Panorama(options).toPixels(pixels);
}

}  // namespace brisko::scan
