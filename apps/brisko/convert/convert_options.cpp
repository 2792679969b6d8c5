#include "convert/convert_options.h"

#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/matrix_file.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace brisko::tool {
namespace {

constexpr std::uint32_t kMostLines = 0x7fffffff;
constexpr double kLeastVoxel = 1e-9;                  // metres
constexpr double kLeastStep = 0.001, kMostStep = 45;  // degrees

/// An empty text leaves the number alone.
template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    if (text.empty()) return true;
    std::uint32_t parsed = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, parsed);
    number = parsed;
    return error == std::errc{} && stop == end;
}

scan::GridRange parseRange(const std::string& text, const std::string& option) {
    scan::GridRange range;
    const std::size_t colon = text.find(':');
    const bool isRange = colon != std::string::npos && text.size() > 1 &&
                         parseNumber(std::string_view(text).substr(0, colon), range.first) &&
                         parseNumber(std::string_view(text).substr(colon + 1), range.end);
    if (isRange) return range;
    throw ScanError(ErrorKind::Request, {},
                    option + " " + text + ": a range like 100:200 is expected");
}

bool parseDouble(std::string_view text, double& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end && std::isfinite(number);
}

/// "A:B" as two finite numbers, of which a missing one stays as it is; false where it is none.
bool parseNumbers(std::string_view text, scan::IntensityRange& range) {
    const auto parse = [](std::string_view part, double& number) {
        return part.empty() || parseDouble(part, number);
    };
    const std::size_t colon = text.find(':');
    return colon != std::string_view::npos && parse(text.substr(0, colon), range.min) &&
           parse(text.substr(colon + 1), range.max);
}

scan::IntensityRange parseScale(const std::string& text) {
    constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();
    scan::IntensityRange range{kMissing, kMissing};
    const bool isRange = parseNumbers(text, range) && std::isfinite(range.min) &&
                         std::isfinite(range.max) && range.min != range.max;
    if (isRange) return range;
    throw ScanError(ErrorKind::Request, {},
                    "--intensity-range " + text + ": two numbers like 0:255 are expected");
}

/// A missing end is open.
scan::IntensityRange parseIntensities(const std::string& text) {
    constexpr double kOpen = std::numeric_limits<double>::infinity();
    scan::IntensityRange range{-kOpen, kOpen};
    if (text.size() > 1 && parseNumbers(text, range) && range.min <= range.max) return range;
    throw ScanError(ErrorKind::Request, {},
                    "--intensity " + text + ": a range like 50:1000 is expected");
}

}  // namespace

void addConvertOptions(CLI::App& app, ConvertLine& line) {
    app.add_flag("--plain", line.options.plain, "Write .cl3 without an index");
    addOverwrite(app, line.options.overwrite);
    takeNumbers(app.add_option("--max-distance", line.maxDistance,
                               "Only points at most D metres from the scanner"),
                kLengths)
        ->option_text("D");
    takeNumbers(app.add_option("--min-distance", line.minDistance,
                               "Only points at least D metres from the scanner"),
                kLengths)
        ->option_text("D");
    app.add_option(
           "--intensity", line.chosenIntensities,
           "Only points of these intensities, of 0 to 2200; both ends belong to them, and A "
           "or B may be left out")
        ->option_text("A:B");
    takeNumbers(app.add_option("--box", line.box,
                               "Only points in this box of the aligned frame, as 'info --count' "
                               "shows it; metres, faces included; inf leaves a side open"),
                {})
        ->option_text("X0,Y0,Z0,X1,Y1,Z1")
        ->delimiter(',')
        ->expected(6);
    app.add_flag("--valid", line.options.validOnly,
                 "Only points that are not at the scanner's own place (0, 0, 0)");
    app.add_option("--columns", line.columns,
                   "Only columns from A up to, not including, B; they become the whole grid. "
                   "A or B may be left out. Of .cl3 and .clr inputs no other column is read")
        ->option_text("A:B");
    app.add_option("--rows", line.rows, "Only rows from C up to, not including, D, likewise")
        ->option_text("C:D");
    app.add_option("--every", line.options.every,
                   "Only every N-th column and row, from the first chosen one; they become the "
                   "grid. Of an input without a grid: every N-th point")
        ->option_text("N")
        ->check(CLI::Range(1u, kMostLines));
    takeNumbers(app.add_option("--grid", line.options.gridStep,
                               "Give an input without a grid one: of cells of so many degrees "
                               "around the scanner's place, (0, 0, 0). Of the points in a cell the "
                               "nearest stays"),
                {kLeastStep, kMostStep})
        ->option_text("STEP");
    takeNumbers(app.add_option("--voxel", line.options.voxel,
                               "Only the first point in each cube of this size, in the frame of "
                               "the output; metres"),
                {kLeastVoxel, std::numeric_limits<double>::max()})
        ->option_text("SIZE");
    app.add_option("--matrix", line.matrix,
                   "Takes the place of the input's alignment: a text of 4 x 4 numbers, row by row, "
                   "for points as columns; the translation is the last column")
        ->option_text("FILE");
    app.add_option("--export-matrix", line.options.alignmentOutput,
                   "Write the alignment as such a text, too")
        ->option_text("FILE");
    app.add_option(
           "--scan", line.options.scan,
           "One scan of an input with several: its number, from 1, or its name; 'all' with -o, or "
           "into a format that holds several")
        ->option_text("N|NAME|all");
    app.add_option("--intensity-range", line.intensities,
                   "The input's intensities that become 0 and 2200, of formats without a scale of "
                   "their own (.las, .pcd)")
        ->option_text("A:B");
    takeNumbers(
        app.add_option("--precision", line.options.precision,
                       "Coordinates may be rounded to this; .las: 0.0001 unless given; .pcd: "
                       "then with 32 bits"),
        kLengths)
        ->option_text("METRES");
    app.add_option("--las-version", line.options.formVersion,
                   "Of .las: 1.2, which is usual, or 1.4")
        ->option_text("VERSION");
    app.add_flag("--no-photos", line.options.withoutPhotos,
                 "Without the photos beside INPUT, which .e57 has a place for");
    app.add_flag("--apply-alignment", line.options.applyAlignment,
                 "Move the points into the aligned frame; the output has no matrix then");
}

scan::ConvertOptions takeConvertOptions(const CLI::App& app, const ConvertLine& line,
                                        ProgressDisplay& display) {
    scan::ConvertOptions options = line.options;
    options.progress = display.function();
    options.warning = warn;
    if (app.count("--max-distance") > 0) options.maxDistance = line.maxDistance;
    if (app.count("--min-distance") > 0) options.minDistance = line.minDistance;
    if (!line.chosenIntensities.empty()) {
        options.intensitiesBetween = parseIntensities(line.chosenIntensities);
    }
    if (!line.matrix.empty()) options.alignment = scan::readMatrixFile(line.matrix);
    if (!line.box.empty()) {
        scan::Box box{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(line.box[axis], line.box[axis + 3]);
            box.max[axis] = std::max(line.box[axis], line.box[axis + 3]);
        }
        options.box = box;
    }
    if (!line.intensities.empty()) options.intensities = parseScale(line.intensities);
    if (!line.columns.empty()) options.columns = parseRange(line.columns, "--columns");
    if (!line.rows.empty()) options.rows = parseRange(line.rows, "--rows");
    return options;
}

std::string resultText(const scan::ConvertOptions& options, const scan::ConvertResult& result) {
    std::string text = options.output + ": " + countOf(result.points, "point");
    if (result.columns > 0) {
        text += ", " + std::to_string(result.columns) + " columns x " +
                std::to_string(result.rows) + " rows";
    }
    return text + ", " + std::to_string(result.bytes) + " bytes";
}

nlohmann::ordered_json leftOutJson(const scan::LeftOut& leftOut) {
    return {{"outsideGrid", leftOut.outsideGrid},
            {"notFinite", leftOut.notFinite},
            {"atScanner", leftOut.atScanner}};
}

nlohmann::ordered_json resultJson(const std::string& schema, const scan::ConvertOptions& options,
                                  const scan::ConvertResult& result) {
    nlohmann::ordered_json json = {{"schema", schema},
                                   {"input", options.input},
                                   {"output", options.output},
                                   {"bytes", result.bytes},
                                   {"grid", nullptr},
                                   {"points", result.points},
                                   {"coloured", result.coloured},
                                   {"leftOut", leftOutJson(result.leftOut)}};
    if (result.columns > 0) json["grid"] = {{"columns", result.columns}, {"rows", result.rows}};
    return json;
}

}  // namespace brisko::tool
