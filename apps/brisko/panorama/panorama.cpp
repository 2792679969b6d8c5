#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/panorama.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <map>
#include <memory>

namespace brisko::tool {
namespace {

using scan::PictureMode;

constexpr std::uint32_t kMostPixelsAlong = 32767;

const std::map<std::string, PictureMode> kModes = {{"range", PictureMode::Range},
                                                   {"intensity", PictureMode::Intensity},
                                                   {"colour", PictureMode::Colour}};

constexpr const char* kSchema = "brisko.panorama/1";

struct Line {
    scan::PanoramaOptions options;
    std::string size;  // "WxH"
    bool json = false;
};

void parseSize(const std::string& text, scan::PanoramaOptions& options) {
    const char* end = text.data() + text.size();
    const auto [cross, error] = std::from_chars(text.data(), end, options.width);
    const bool hasCross = error == std::errc{} && cross != end && *cross == 'x';
    if (hasCross) {
        const auto [stop, heightError] = std::from_chars(cross + 1, end, options.height);
        if (heightError == std::errc{} && stop == end && options.width > 0 && options.height > 0) {
            return;
        }
    }
    throw ScanError(ErrorKind::Request, {},
                    "--size " + text + ": a size like 2000x1000 is expected");
}

void printJson(const scan::PanoramaOptions& options, const scan::PanoramaResult& result) {
    const scan::PictureScale& scale = result.scale;
    const auto mode = std::find_if(kModes.begin(), kModes.end(),
                                   [&](const auto& named) { return named.second == options.mode; });
    nlohmann::ordered_json document = {{"schema", kSchema},        {"input", options.input},
                                       {"output", options.output}, {"bytes", result.bytes},
                                       {"mode", mode->first},      {"width", result.width},
                                       {"height", result.height},  {"empty", scale.isEmpty},
                                       {"low", nullptr},           {"high", nullptr}};
    if (!scale.isEmpty && options.mode != PictureMode::Colour) {
        document["low"] = jsonNumber(scale.low);
        document["high"] = jsonNumber(scale.high);
    }
    printDocument(document);
}

void printText(const scan::PanoramaOptions& options, const scan::PanoramaResult& result) {
    const scan::PictureScale& scale = result.scale;
    std::cout << options.output << ": " << result.width << " x " << result.height << " pixels";
    if (scale.isEmpty) {
        std::cout << ", no point to show";
    } else if (options.mode == PictureMode::Range) {
        std::cout << ", bright " << scale.low << " m to dark " << scale.high << " m";
    } else if (options.mode == PictureMode::Intensity) {
        std::cout << ", dark " << scale.low << " to bright " << scale.high;
    }
    std::cout << "\n";
}

ExitCode run(const Line& line, ProgressStyle style) {
    ProgressDisplay display(style);
    scan::PanoramaOptions options = line.options;
    options.progress = display.function();
    options.warning = warn;
    if (!line.size.empty()) parseSize(line.size, options);
    const scan::PanoramaResult result = scan::drawPanorama(options);
    if (line.json) {
        printJson(options, result);
    } else {
        printText(options, result);
    }
    return ExitCode::Done;
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
    app->add_option("SCAN", line->options.input, "Scan with a grid (.cl3 with index, .clr, .ptx)")
        ->required();
    app->add_option("-o,--output", line->options.output, "Picture to write (.png)")
        ->required()
        ->option_text("OUT.png");
    addOverwrite(*app, line->options.overwrite);
    addChoice(*app, "--mode", line->options.mode, kModes,
              "What to draw: range, intensity or colour")
        ->option_text("MODE");
    CLI::Option* size =
        app->add_option("--size", line->size, "Size in pixels, whatever the scan's proportions")
            ->option_text("WxH");
    app->add_option("--width", line->options.width,
                    "Width in pixels; the height follows from the angles")
        ->option_text("W")
        ->check(CLI::Range(1u, kMostPixelsAlong))
        ->excludes(size);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
