#include "commands.h"
#include "common/choice.h"
#include "common/json_number.h"
#include "common/json_text.h"
#include "common/message.h"
#include "common/overwrite.h"
#include "common/staged_scan.h"
#include "panorama/picture.h"
#include "panorama/png_file.h"
#include "scan/angle_estimate.h"
#include "scan/photo_report.h"
#include "scan/scan_input.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>

namespace brisko::tool {
namespace {

constexpr std::uint32_t kSmallestDefaultWidth = 1024;  // pixels
constexpr std::uint32_t kLargestDefaultWidth = 4096;
constexpr std::uint32_t kMostPixelsAlong = 32767;
constexpr std::uint64_t kMostPixels = 1 << 26;
constexpr std::uint64_t kAlwaysFine = 1 << 22;  // pixels, however small the grid is
constexpr std::uint64_t kMostPerCell = 16;      // pixels; more show nothing more
constexpr double kMostAspect = 16;  // beyond it, the angles tell nothing that can be looked at

const std::map<std::string, PictureMode> kModes = {{"range", PictureMode::Range},
                                                   {"intensity", PictureMode::Intensity},
                                                   {"colour", PictureMode::Colour}};

constexpr const char* kSchema = "brisko.panorama/1";

struct Line {
    std::string scan;
    std::string output;
    PictureMode mode = PictureMode::Range;
    std::string size;         // "WxH"
    std::uint32_t width = 0;  // 0: by the grid
    bool overwrite = false;
    bool json = false;
};

/// 0 where it is left to be found.
struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

Size parseSize(const std::string& text) {
    Size size;
    const char* end = text.data() + text.size();
    const auto [cross, error] = std::from_chars(text.data(), end, size.width);
    const bool hasCross = error == std::errc{} && cross != end && *cross == 'x';
    if (hasCross) {
        const auto [stop, heightError] = std::from_chars(cross + 1, end, size.height);
        if (heightError == std::errc{} && stop == end && size.width > 0 && size.height > 0) {
            return size;
        }
    }
    throw Failure(ExitCode::Usage, "--size " + text + ": a size like 2000x1000 is expected");
}

void requireDrawable(const Size& size) {
    if (size.width <= kMostPixelsAlong && size.height <= kMostPixelsAlong &&
        std::uint64_t{size.width} * size.height <= kMostPixels) {
        return;
    }
    throw Failure(ExitCode::Usage, std::to_string(size.width) + " x " +
                                       std::to_string(size.height) +
                                       " pixels: a picture has at most 32767 a side and 67 "
                                       "million in all");
}

std::uint64_t pixelsOf(const Size& size) {
    return std::uint64_t{size.width} * size.height;
}

/// The most pixels that a picture of a grid can have: beyond some a cell, it only grows.
std::uint64_t mostPixelsFor(const ScanFacts& facts) {
    const std::uint64_t cells = std::uint64_t{facts.columns} * facts.rows;
    const std::uint64_t most = cells < kMostPixels ? kMostPerCell * cells : kMostPixels;
    return std::clamp(most, kAlwaysFine, kMostPixels);
}

[[noreturn]] void failWithoutColour(const std::string& scan) {
    const std::string hint = hintAtPhotos(scan);
    throw Failure(ExitCode::Usage,
                  scan + ": the scan has no colour; " +
                      (hint.empty() ? "draw its range or intensity instead" : hint));
}

class Panorama {
public:
    Panorama(const Line& line, const Size& asked, ProgressStyle progress)
        : m_line(line), m_progress(progress), m_input(openScan(line.scan)), m_size(asked) {
        if (!facts().hasGrid) {
            throw Failure(ExitCode::Usage, line.scan + ": the scan has no index (" +
                                               companionOf(line.scan, ".ij") +
                                               "), so the cells of its points are not known");
        }
        if (line.mode == PictureMode::Colour && !facts().storesColour) failWithoutColour(line.scan);
        if (m_size.width == 0) {
            m_size.width = std::clamp(facts().columns, kSmallestDefaultWidth, kLargestDefaultWidth);
        }
        requireGridFor(m_size);
    }

    ExitCode run() {
        StagedScan staged(m_line.output);
        PngFile file(staged.path(), m_line.output);
        PictureGrid grid(m_line.mode, facts().columns, facts().rows, m_size.width,
                         m_size.height > 0 ? m_size.height : m_size.width);
        AngleEstimate angles(facts().columns, facts().rows);
        gather(grid, angles);
        if (m_size.height == 0) chooseHeight(angles);

        const Picture picture(grid, m_line.mode, orientation(angles), m_size.width, m_size.height);
        if (m_line.mode == PictureMode::Colour && !picture.scale().isEmpty && !m_sawColour) {
            failWithoutColour(m_line.scan);
        }
        file.begin(m_size.width, m_size.height);
        picture.paint([&](const std::uint8_t* row) { file.writeRow(row); });
        file.close();
        staged.commit();
        if (picture.scale().isEmpty) {
            warn(m_line.output + ": shows nothing; the scan has no point");
        }
        report(picture.scale());
        return ExitCode::Done;
    }

private:
    const ScanFacts& facts() const { return m_input->facts(); }

    /// A picture far larger than the grid shows nothing more, and takes the time and the disk of one.
    void requireGridFor(const Size& size) const {
        const std::uint64_t most = mostPixelsFor(facts());
        if (pixelsOf({size.width, std::max(size.height, 1u)}) <= most) return;
        throw Failure(ExitCode::Usage,
                      std::to_string(size.width) + " x " + std::to_string(size.height) +
                          " pixels are too many for the " + std::to_string(facts().columns) +
                          " x " + std::to_string(facts().rows) + " cells of " + m_line.scan +
                          "; at most " + std::to_string(most) + " are drawn");
    }

    /// As the angles ask for. A width that nobody asked for gives way where both are too much.
    void chooseHeight(const AngleEstimate& angles) {
        m_size.height = heightFor(angles);
        const std::uint64_t most = mostPixelsFor(facts());
        if (m_line.width == 0 && pixelsOf(m_size) > most) {
            const double share =
                std::sqrt(static_cast<double>(most) / static_cast<double>(pixelsOf(m_size)));
            m_size.width = std::max(1u, static_cast<std::uint32_t>(m_size.width * share));
            m_size.height = heightFor(angles);
        }
        requireDrawable(m_size);
        if (m_line.width > 0) requireGridFor(m_size);
    }

    void gather(PictureGrid& grid, AngleEstimate& angles) {
        Progress progress(m_progress, "panorama", m_input->steps(), m_input->stepUnit());
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
        const double rows = std::max(facts().rows, 1u);
        const double columns = std::max(facts().columns, 1u);
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

    void report(const PictureScale& scale) const {
        if (m_line.json) {
            printJson(scale);
        } else {
            printText(scale);
        }
    }

    void printJson(const PictureScale& scale) const {
        std::error_code error;
        const std::uintmax_t bytes = std::filesystem::file_size(m_line.output, error);
        const auto mode = std::find_if(kModes.begin(), kModes.end(), [&](const auto& named) {
            return named.second == m_line.mode;
        });
        nlohmann::ordered_json document = {{"schema", kSchema},       {"input", m_line.scan},
                                           {"output", m_line.output}, {"bytes", error ? 0 : bytes},
                                           {"mode", mode->first},     {"width", m_size.width},
                                           {"height", m_size.height}, {"empty", scale.isEmpty},
                                           {"low", nullptr},          {"high", nullptr}};
        if (!scale.isEmpty && m_line.mode != PictureMode::Colour) {
            document["low"] = jsonNumber(scale.low);
            document["high"] = jsonNumber(scale.high);
        }
        printDocument(document);
    }

    void printText(const PictureScale& scale) const {
        std::cout << m_line.output << ": " << m_size.width << " x " << m_size.height << " pixels";
        if (scale.isEmpty) {
            std::cout << ", no point to show";
        } else if (m_line.mode == PictureMode::Range) {
            std::cout << ", bright " << scale.low << " m to dark " << scale.high << " m";
        } else if (m_line.mode == PictureMode::Intensity) {
            std::cout << ", dark " << scale.low << " to bright " << scale.high;
        }
        std::cout << "\n";
    }

    const Line& m_line;
    ProgressStyle m_progress;
    std::unique_ptr<ScanInput> m_input;
    Size m_size;
    bool m_sawColour = false;
};

ExitCode run(const Line& line, ProgressStyle progress) {
    if (extensionOf(line.output) != ".png") {
        throw Failure(ExitCode::Usage, line.output + ": the picture is named .png");
    }
    // Before anything is opened.
    Size asked{line.width, 0};
    if (!line.size.empty()) asked = parseSize(line.size);
    requireDrawable({asked.width, std::max(asked.height, 1u)});
    requireNew(line.output, line.overwrite);
    return Panorama(line, asked, progress).run();
}

}  // namespace

Command addPanorama(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("panorama", "Draw a scan as a picture");
    app->footer(
        "The picture is upright and as seen from the scanner: left to right is clockwise seen "
        "from\n"
        "above, however the scan's columns and rows run. Cells without a point are dark blue.\n"
        "range: near is bright, far is dark, on a logarithmic scale. intensity: weak is dark.\n"
        "The outermost hundredth of the values on either side is clipped. A picture has at most\n"
        "16 pixels for a cell of the scan, or 4 million, and 67 million in all.");
    const auto line = std::make_shared<Line>();
    app->add_option("SCAN", line->scan, "Scan with a grid (.cl3 with index, .clr, .ptx)")
        ->required();
    app->add_option("-o,--output", line->output, "Picture to write (.png)")
        ->required()
        ->option_text("OUT.png");
    addOverwrite(*app, line->overwrite);
    addChoice(*app, "--mode", line->mode, kModes, "What to draw: range, intensity or colour")
        ->option_text("MODE");
    CLI::Option* size =
        app->add_option("--size", line->size, "Size in pixels, whatever the scan's proportions")
            ->option_text("WxH");
    app->add_option("--width", line->width, "Width in pixels; the height follows from the angles")
        ->option_text("W")
        ->check(CLI::Range(1u, kMostPixelsAlong))
        ->excludes(size);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
