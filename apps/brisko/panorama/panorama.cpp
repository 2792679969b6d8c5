#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/panorama.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>

namespace brisko::tool {
namespace {

using scan::ColourMap;
using scan::PictureMode;
using scan::Projection;

constexpr std::uint32_t kMostPixelsAlong = 32767;

const std::map<std::string, PictureMode> kModes = {
    {"shaded", PictureMode::Shaded},       {"range", PictureMode::Range},
    {"intensity", PictureMode::Intensity}, {"colour", PictureMode::Colour},
    {"normals", PictureMode::Normals},     {"height", PictureMode::Height},
    {"incidence", PictureMode::Incidence}};
const std::map<std::string, ColourMap> kMaps = {
    {"grey", ColourMap::Grey}, {"turbo", ColourMap::Turbo}, {"viridis", ColourMap::Viridis}};
const std::map<std::string, Projection> kProjections = {
    {"grid", Projection::Grid},
    {"equirectangular", Projection::Equirectangular},
    {"cylindrical", Projection::Cylindrical},
    {"cube", Projection::Cube}};
const std::map<std::string, bool> kDepths = {{"8", false}, {"16", true}};

constexpr const char* kSchema = "brisko.panorama/1";

struct Line {
    std::vector<std::string> inputs;
    scan::PanoramaOptions options;
    std::uint32_t across = 0;
    std::string size;     // "WxH"
    std::string missing;  // "RRGGBB"
    std::string limits;   // "LOW:HIGH"
    bool json = false;
};

[[noreturn]] void refuse(const std::string& option, const std::string& text,
                         const std::string& expected) {
    throw ScanError(ErrorKind::Request, {}, option + " " + text + ": " + expected);
}

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
    refuse("--size", text, "a size like 2000x1000 is expected");
}

void parseColour(const std::string& text, scan::PictureColour& colour) {
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 16);
    if (error != std::errc{} || stop != end || text.size() != 6)
        refuse("--missing", text, "a colour like c8c8c8 is expected: red, green, blue");
    colour = {static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
              static_cast<std::uint8_t>(value)};
}

void parseLimits(const std::string& text, scan::PanoramaOptions& options) {
    double low = 0, high = 0;
    const char* const end = text.data() + text.size();
    const auto [colon, error] = std::from_chars(text.data(), end, low);
    if (error == std::errc{} && colon != end && *colon == ':') {
        const auto [stop, highError] = std::from_chars(colon + 1, end, high);
        if (highError == std::errc{} && stop == end && low < high) {
            options.low = low;
            options.high = high;
            return;
        }
    }
    refuse("--limits", text, "two rising numbers like 1:20 are expected");
}

void printJson(const scan::PanoramaOptions& options, const scan::PanoramaResult& result) {
    const scan::PictureScale& scale = result.scale;
    const auto mode = std::find_if(kModes.begin(), kModes.end(),
                                   [&](const auto& named) { return named.second == options.mode; });
    nlohmann::ordered_json document = {
        {"schema", kSchema},       {"input", options.input}, {"output", options.output},
        {"bytes", result.bytes},   {"mode", mode->first},    {"width", result.width},
        {"height", result.height}, {"empty", scale.isEmpty}, {"low", nullptr},
        {"high", nullptr},         {"gamma", scale.gamma}};
    if (scale.low < scale.high) {
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
    } else if (scale.low < scale.high) {
        const char* const unit = options.mode == PictureMode::Intensity   ? ""
                                 : options.mode == PictureMode::Incidence ? " degrees"
                                                                          : " m";
        std::cout << ", from " << scale.low << " to " << scale.high << unit;
    }
    std::cout << "\n";
}

ExitCode drawSheet(const Line& line, const scan::PanoramaOptions& picture) {
    scan::ContactSheetOptions options;
    options.inputs = line.inputs;
    options.output = picture.output;
    options.picture = picture;
    options.across = line.across;
    if (picture.width > 0) options.width = picture.width;
    options.overwrite = picture.overwrite;
    options.progress = picture.progress;
    options.warning = picture.warning;
    const scan::ContactSheetResult result = scan::drawContactSheet(options);
    for (const std::string& failed : result.failed)
        warn(failed);
    if (line.json) {
        printDocument(nlohmann::ordered_json{{"schema", "brisko.sheet/1"},
                                             {"output", options.output},
                                             {"bytes", result.bytes},
                                             {"width", result.width},
                                             {"height", result.height},
                                             {"drawn", result.drawn},
                                             {"failed", result.failed}});
    } else {
        std::cout << options.output << ": " << result.drawn << " scans on " << result.width << " x "
                  << result.height << " pixels\n";
    }
    return ExitCode::Done;
}

ExitCode run(const Line& line, ProgressStyle style) {
    ProgressDisplay display(style);
    scan::PanoramaOptions options = line.options;
    options.progress = display.function();
    options.warning = warn;
    if (!line.size.empty()) parseSize(line.size, options);
    if (!line.missing.empty()) parseColour(line.missing, options.missing);
    if (!line.limits.empty()) parseLimits(line.limits, options);
    std::error_code ignored;
    const bool isSheet =
        line.inputs.size() > 1 || std::filesystem::is_directory(line.inputs.front(), ignored);
    if (isSheet && options.legend) {
        throw ScanError(ErrorKind::Request, {}, "--legend: a contact sheet has none");
    }
    if (isSheet) return drawSheet(line, options);
    if (line.across > 0) {
        throw ScanError(ErrorKind::Request, {},
                        "--across: only a contact sheet has pictures side by side");
    }
    options.input = line.inputs.front();
    const scan::PanoramaResult result = scan::drawPanorama(options);
    if (line.json) {
        printJson(options, result);
    } else {
        printText(options, result);
    }
    return ExitCode::Done;
}

constexpr const char* kFooter =
    "The picture is upright and as seen from the scanner: left to right is clockwise seen from\n"
    "above, however the scan's columns and rows run. Several scans, or a folder of them, become a\n"
    "contact sheet with their names.\n"
    "\n"
    "Modes: shaded (default) shows the form of surfaces as if a lamp stood at the scanner; range\n"
    "(metres from the scanner, on a logarithmic scale) and height (metres, aligned) are shaded\n"
    "colours; intensity is brightened so that its median can be seen; colour is brightened where "
    "it\n"
    "is dark (--gamma 1 leaves it as it is); normals has x, y and z as red, green and blue;\n"
    "incidence is the angle between beam and surface. The outermost hundredth of the values on\n"
    "either side of a scale is clipped.\n"
    "\n"
    "Projections: grid (default), as wide and high as the angles say; equirectangular, the whole\n"
    "sphere with +x in the middle; cylindrical, upright lines stay straight, up to 60 degrees of\n"
    "elevation; cube, six faces: front, right, back above left, up, down.\n"
    "\n"
    "A .tif has the angles of its pixels as map coordinates: x is the azimuth, y the elevation,\n"
    "degrees. A picture has at most 16 pixels for a cell of the scan, or 4 million, and 67 "
    "million\n"
    "in all.";

}  // namespace

Command addPanorama(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("panorama", "Draw a scan as a picture");
    app->footer(kFooter);
    const auto line = std::make_shared<Line>();
    scan::PanoramaOptions& options = line->options;
    app->add_option("SCAN", line->inputs, "Scan with a grid; several, or a folder: a contact sheet")
        ->required();
    app->add_option("-o,--output", options.output, "Picture to write (.png, .tif)")
        ->required()
        ->option_text("OUT.png");
    addOverwrite(*app, options.overwrite);
    app->add_option("--scan", options.scan, "One scan of a file with several: its number or name")
        ->option_text("N|NAME");
    addChoice(*app, "--mode", options.mode, kModes, "What to draw: see below")->option_text("MODE");
    addChoice(*app, "--map", options.map, kMaps, "Colours of a scale: grey, turbo or viridis")
        ->option_text("MAP");
    addChoice(*app, "--projection", options.projection, kProjections,
              "How directions lie in the picture: see below")
        ->option_text("PROJECTION");
    CLI::Option* size =
        app->add_option("--size", line->size, "Size in pixels, whatever the scan's proportions")
            ->option_text("WxH");
    app->add_option("--width", options.width, "Width in pixels; the height follows from the angles")
        ->option_text("W")
        ->check(CLI::Range(1u, kMostPixelsAlong))
        ->excludes(size);
    takeNumbers(app->add_option("--gamma", options.gamma, "Brighten (below 1) or darken (above 1)")
                    ->option_text("G"),
                {0.05, 20});
    app->add_option("--limits", line->limits, "Ends of the scale, for pictures to be compared")
        ->option_text("LOW:HIGH");
    app->add_option("--missing", line->missing, "Colour of cells without a point (default c8c8c8)")
        ->option_text("RRGGBB");
    app->add_flag("--legend", options.legend,
                  "A strip below with azimuths, the scan's name and the scale");
    addChoice(*app, "--bits", options.is16Bit, kDepths, "Bits of a sample: 8 or 16")
        ->option_text("BITS");
    app->add_option("--across", line->across, "Pictures side by side on a contact sheet")
        ->option_text("N")
        ->check(CLI::Range(1u, 64u));
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
