#include <brisko_scan/panorama.h>

#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/scan_input.h"
#include "scan/pictures/canvas.h"
#include "scan/pictures/legend.h"
#include "scan/pictures/picture.h"
#include "scan/pictures/picture_file.h"
#include "scan/pictures/sampled_scan.h"

#include <brisko_scan/photos.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
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

[[noreturn]] void failWithoutGrid(const std::string& scan) {
    if (hasExtension(scan, ".cl3")) {
        throw ScanError(ErrorKind::Request, scan,
                        "the scan has no index (" + companionOf(scan, ".ij") +
                            "), so the cells of its points are not known");
    }
    throw ScanError(ErrorKind::Request, scan, "has no grid",
                    "convert it with --grid to give it one");
}

[[noreturn]] void failWithoutColour(const std::string& scan) {
    const std::string hint = hintAtPhotos(scan);
    throw ScanError(ErrorKind::Request, scan, "the scan has no colour",
                    hint.empty() ? "draw its range or intensity instead" : hint);
}

ReadOptions readOptions(const PanoramaOptions& options) {
    ReadOptions read;
    read.scan = options.scan;
    return read;
}

std::optional<std::array<double, 4>> anglesOf(const PictureView& view) {
    const auto azimuth = view.azimuthAcross(), elevation = view.elevationDown();
    if (!azimuth || !elevation) return std::nullopt;
    return std::array{azimuth->start, azimuth->step, elevation->start, elevation->step};
}

/// The rows of a canvas as those of a picture.
void handOut(Canvas& canvas, const PixelFormat& format, const Picture::TakeRow& takeRow) {
    const std::size_t size = format.is16Bit ? 2 : 1;
    std::vector<std::uint8_t> row(format.bytesOf(canvas.width()));
    for (std::uint32_t y = 0; y < canvas.height(); ++y) {
        const std::uint8_t* const in = canvas.row(y);
        std::uint8_t* out = row.data();
        for (std::uint32_t x = 0; x < canvas.width(); ++x) {
            for (std::uint32_t c = 0; c < format.channels; ++c, out += size)
                std::fill_n(out, size, in[3 * x + c]);  // 0xff becomes 0xffff
        }
        takeRow(row.data());
    }
}

class Panorama {
public:
    explicit Panorama(const PanoramaOptions& options)
        : m_options(options),
          m_input(openScan(options.input, readOptions(options))),
          m_size{options.width, options.height} {
        if (!info().hasGrid) failWithoutGrid(options.input);
        if (options.mode == PictureMode::Colour && !info().storesColour)
            failWithoutColour(options.input);
        if (m_size.width == 0) {
            m_size.width = std::clamp(info().columns, kSmallestDefaultWidth, kLargestDefaultWidth);
        }
        if (m_size.height == 0)
            m_size.height = heightOf(options.projection, m_size.width).value_or(0);
        requireGridFor(m_size);
    }

    PanoramaResult toFile() {
        StagedScan staged(m_options.output);
        const auto file = openPictureFile(staged.path(), m_options.output);
        const PictureScale scale = draw(
            false, [&](const PictureShape& shape) { file->begin(shape); },
            [&](const std::uint8_t* row) { file->writeRow(row); });
        file->close();
        staged.commit(m_options.progress);
        if (scale.isEmpty && m_options.warning) {
            m_options.warning(m_options.output + ": shows nothing; the scan has no point");
        }
        return {m_size.width, m_size.height, bytesOf(m_options.output), scale};
    }

    PanoramaResult toPixels(std::vector<std::uint8_t>& pixels) {
        pixels.clear();
        const PictureScale scale = draw(
            true, [&](const PictureShape&) { pixels.reserve(3 * pixelsOf(m_size)); },
            [&](const std::uint8_t* row) {
                pixels.insert(pixels.end(), row, row + 3 * std::size_t{m_size.width});
            });
        return {m_size.width, m_size.height, pixels.size(), scale};
    }

private:
    const ScanInfo& info() const { return m_input->info(); }

    /// begin: called when the size is known; takeRow: for every row of pixels from the top.
    template <class Begin>
    PictureScale draw(bool inMemory, const Begin& begin, const Picture::TakeRow& takeRow) {
        SampledScan scan(info(), m_options, m_size.width,
                         m_size.height > 0 ? m_size.height : m_size.width);
        gather(scan);
        const ScanView lie{info().columns, info().rows, scan.azimuth(), scan.zenith()};
        if (m_size.height == 0) chooseHeight(lie);
        requireAngles(lie);

        const PictureView view(m_options.projection, lie, scan.samples().width(),
                               scan.samples().height(), m_size.width, m_size.height);
        const Picture picture(scan.samples(), view, m_options);
        if (m_options.mode == PictureMode::Colour && !picture.scale().isEmpty && !scan.sawColour())
            failWithoutColour(m_options.input);
        const PixelFormat format{!inMemory && picture.isGrey() ? 1U : 3U,
                                 !inMemory && m_options.is16Bit};
        if (m_options.legend) m_size.height += legendHeight(m_size.width);
        requireDrawable(m_size);
        begin(PictureShape{m_size.width, m_size.height, format, anglesOf(view)});
        picture.paint(format, takeRow);
        if (m_options.legend) {
            Canvas legend = drawLegend(picture, view, m_options.mode, lastPartOf(m_options.input));
            handOut(legend, format, takeRow);
        }
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

    void requireAngles(const ScanView& lie) const {
        const bool isKnown =
            lie.azimuth.known && lie.azimuth.step != 0 && lie.zenith.known && lie.zenith.step != 0;
        if (m_options.projection == Projection::Grid || isKnown) return;
        throw ScanError(
            ErrorKind::Request, m_options.input,
            "its points do not show at which angles its cells lie; draw the grid instead");
    }

    /// As the angles ask for. A width that nobody asked for gives way where both are too much.
    void chooseHeight(const ScanView& lie) {
        m_size.height = heightFor(lie);
        const std::uint64_t most = mostPixelsFor(info());
        if (m_options.width == 0 && pixelsOf(m_size) > most) {
            const double share =
                std::sqrt(static_cast<double>(most) / static_cast<double>(pixelsOf(m_size)));
            m_size.width = std::max(1u, static_cast<std::uint32_t>(m_size.width * share));
            m_size.height = heightFor(lie);
        }
        requireDrawable(m_size);
        if (m_options.width > 0) requireGridFor(m_size);
    }

    void gather(SampledScan& scan) {
        TaskProgress progress(m_options.progress, "panorama", m_input->steps(),
                              m_input->stepUnit());
        std::vector<CellPoint> points;
        for (m_input->read(points); !points.empty(); m_input->read(points)) {
            scan.add(points);
            progress.advanceTo(m_input->stepsDone());
        }
        scan.end();
    }

    /// As high as the scan's angles are to its width; as the grid where these are not known.
    std::uint32_t heightFor(const ScanView& lie) const {
        const double rows = std::max(info().rows, 1u);
        const double columns = std::max(info().columns, 1u);
        const double byAngle =
            rows * std::abs(lie.zenith.step) / (columns * std::abs(lie.azimuth.step));
        const bool usable = lie.azimuth.known && lie.zenith.known && byAngle >= 1 / kMostAspect &&
                            byAngle <= kMostAspect;
        const double aspect =
            usable ? byAngle : std::clamp(rows / columns, 1 / kMostAspect, kMostAspect);
        const double height = std::round(m_size.width * aspect);
        return static_cast<std::uint32_t>(std::clamp(height, 1.0, double{kMostPixelsAlong}));
    }

    const PanoramaOptions& m_options;
    std::unique_ptr<ScanInput> m_input;
    Size m_size;
};

}  // namespace

PanoramaResult drawPanorama(const PanoramaOptions& options) {
    if (!isPictureName(options.output)) {
        throw ScanError(ErrorKind::Request, options.output, "the picture is named .png or .tif");
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
