#include "simulate/simulate_options.h"

#include "common/message.h"
#include "common/options.h"

#include <charconv>
#include <cmath>

namespace brisko::tool {

namespace {

// A row costs memory in every thread and in the writers' bands.
constexpr std::int64_t kMostRows = 100000;
constexpr std::int64_t kMostColumns = 1000000000;
constexpr std::int64_t kMostCells = 10000000000;
constexpr std::int64_t kMostBlocks = 1000;
constexpr std::int64_t kMostFiles = 1000;
constexpr double kMostNoise = 1000;  // millimetres

[[noreturn]] void refuse(const std::string& text) {
    throw ScanError(ErrorKind::Request, {}, text);
}

void requireWithin(const std::string& option, std::int64_t value, std::int64_t lowest,
                   std::int64_t highest) {
    if (value >= lowest && value <= highest) return;
    refuse(option + " must be " + std::to_string(lowest) + " to " + std::to_string(highest) +
           ", not " + std::to_string(value));
}

/// A whole number or one with a decimal point, whatever the host's locale is.
bool parseAngle(const char* begin, const char* end, double& angle) {
    const std::from_chars_result result = std::from_chars(begin, end, angle);
    return result.ec == std::errc() && result.ptr == end && std::isfinite(angle);
}

simulator::ScanFormat formatOf(const std::string& text) {
    if (text == "cl3") return simulator::ScanFormat::CL3;
    if (text == "cl3-indexed") return simulator::ScanFormat::CL3Indexed;
    return simulator::ScanFormat::CLR;
}

void requireName(const std::string& name) {
    if (name.empty() || name.front() == '.' || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos) {
        refuse("--name must be a file name without folder and extension, not \"" + name + "\"");
    }
}

void requireSizes(const SimulateOptions& options) {
    requireWithin("--columns", options.columns, 1, kMostColumns);
    requireWithin("--rows", options.rows, 1, kMostRows);
    if (options.columns * options.rows > kMostCells) {
        refuse("--columns times --rows must not pass " + std::to_string(kMostCells));
    }
    requireWithin("--point-format", options.pointFormat, 0, 3);
    requireWithin("--blocks", options.blocks, 1, kMostBlocks);
    requireWithin("--series", options.series, 0, kMostFiles);
    for (const std::int64_t flag : options.flags)
        requireWithin("--flags", flag, 0, 255);
}

void requirePhotosForTheirScale(const CLI::App& command) {
    if (command.count("--photos") == 0 && command.count("--photo-scale") > 0) {
        refuse("--photo-scale needs --photos");
    }
}

void requireFitsPhotos(const simulator::ScanPlan& plan) {
    const char* const part = plan.photos ? plan.partForPhotosAlone() : nullptr;
    if (part) refuse("--name must not contain \"" + std::string(part) + "\" with --photos");
}

void requireFitsFormat(const CLI::App& command, simulator::ScanFormat format) {
    if (format == simulator::ScanFormat::CLR) {
        if (command.count("--colour") == 0) return;
        refuse("--colour needs --format cl3 or cl3-indexed: a CLR file stores no colour");
    }
    for (const char* option : {"--point-format", "--blocks", "--flags", "--series"}) {
        if (command.count(option) > 0) refuse(std::string(option) + " needs --format clr");
    }
}

}  // namespace

AngleSpan parseAngles(const std::string& option, const std::string& text, double lowest,
                      double highest) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const std::size_t colon = text.find(':');
    double start = 0, stop = 0;
    if (colon == std::string::npos || !parseAngle(begin, begin + colon, start) ||
        !parseAngle(begin + colon + 1, end, stop)) {
        refuse(option + " takes START:STOP in degrees, for example 20:150, not \"" + text + "\"");
    }
    for (const double angle : {start, stop}) {
        if (angle >= lowest && angle <= highest) continue;
        refuse(option + " must stay between " + std::to_string(static_cast<int>(lowest)) + " and " +
               std::to_string(static_cast<int>(highest)) + " degrees, not \"" + text + "\"");
    }
    const AngleSpan span{static_cast<float>(start), static_cast<float>(stop)};
    if (span.start == span.stop) refuse(option + " spans no angle: \"" + text + "\"");
    if (std::abs(span.stop - span.start) > 360) {
        refuse(option + " must not span more than 360 degrees, as \"" + text + "\" does");
    }
    return span;
}

void SimulateOptions::addTo(CLI::App& command) {
    command.add_option("folder", folder, "Where to write; created when missing")->required();
    command.add_option("--name", name, "Name of the scan, without extension")
        ->capture_default_str();
    command.add_option("--scene", scene, "What is around the scanner")
        ->check(CLI::IsMember({"courtyard", "room"}))
        ->capture_default_str();
    command.add_option("--columns", columns, "Columns of the grid")->capture_default_str();
    command.add_option("--rows", rows, "Rows of the grid")->capture_default_str();
    command
        .add_option("--azimuth", azimuth,
                    "START:STOP, degrees counter-clockwise from +x; falling turns clockwise")
        ->capture_default_str();
    command.add_option("--zenith", zenith, "START:STOP, degrees from straight up, 0 to 180")
        ->capture_default_str();
    command.add_option("--format", format, "Kind of file")
        ->check(CLI::IsMember({"clr", "cl3", "cl3-indexed"}))
        ->capture_default_str();
    command
        .add_option("--point-format", pointFormat,
                    "CLR: 0 or 1 plain records, 2 compressed lines, 3 all columns top-down")
        ->capture_default_str();
    command.add_option("--blocks", blocks, "CLR: passes over the grid stored in each file")
        ->capture_default_str();
    command.add_option("--flags", flags, "CLR: range interval of each block, for example 0,1,4")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--series", series, "CLR: write so many numbered files, NAME_000.clr on");
    command.add_option("--model", model, "Scanner model, at most 12 characters")
        ->capture_default_str();
    command.add_flag("--alignment", alignment,
                     "Write the scanner's place in the world beside the scan (.alg)");
    command.add_flag("--colour", colour, "CL3: store the true colour of every point");
    addChoice(
        command, "--photos", photos, simulator::photoKinds(),
        "Take photos all around, too: classic, newer, W30, W60, T30, T60, offset or own; it "
        "selects the camera and the kind of its calibration files. The calibration goes into the "
        "folder, the scan with its photos into a folder NAME in it");
    command
        .add_option("--photo-scale", photoDivisor,
                    "Photos: a camera's columns and rows are divided by 1, 2, 4 or 8")
        ->check(CLI::IsMember({1, 2, 4, 8}))
        ->capture_default_str();
    takeNumbers(command.add_option("--noise", noise, "Range noise, millimetres"), {0, kMostNoise})
        ->capture_default_str();
    command.add_option("--seed", seed, "Another seed, another noise")->capture_default_str();
    addOverwrite(command, overwrite);
    command.add_flag("--json", json, "Print JSON, schema " + std::string(kSimulateSchema));
}

simulator::ScanPlan SimulateOptions::plan(const CLI::App& command) const {
    requireName(name);
    requireSizes(*this);
    requireFitsFormat(command, formatOf(format));
    requirePhotosForTheirScale(command);
    if (model.size() > 12) refuse("--model must have at most 12 characters: \"" + model + "\"");
    const bool blocksGiven = command.count("--blocks") > 0;
    if (blocksGiven && !flags.empty() && flags.size() != static_cast<std::size_t>(blocks)) {
        refuse("--flags gives " + std::to_string(flags.size()) + " flags for " +
               std::to_string(blocks) + " blocks; give one for each");
    }
    const AngleSpan azimuths = parseAngles("--azimuth", azimuth, -360, 360);
    const AngleSpan zeniths = parseAngles("--zenith", zenith, 0, 180);

    simulator::ScanPlan plan;
    plan.folder = folder;
    plan.name = name;
    plan.scene = scene;
    plan.model = model;
    plan.format = formatOf(format);
    plan.pointFormat = static_cast<CLRPointFormat>(pointFormat);
    plan.blocks = flags.empty() ? static_cast<std::uint32_t>(blocks)
                                : static_cast<std::uint32_t>(flags.size());
    for (const std::int64_t flag : flags)
        plan.flags.push_back(static_cast<std::uint8_t>(flag));
    plan.series = static_cast<std::uint32_t>(series);
    plan.alignment = alignment;
    plan.colour = colour;
    plan.overwrite = overwrite;
    if (command.count("--photos") > 0) plan.photos = photos;
    plan.photoDivisor = photoDivisor;
    requireFitsPhotos(plan);
    plan.grid = {static_cast<std::uint32_t>(columns),
                 static_cast<std::uint32_t>(rows),
                 azimuths.start,
                 azimuths.stop,
                 zeniths.start,
                 zeniths.stop};
    plan.settings = {seed, noise / 1000};
    return plan;
}

}  // namespace brisko::tool
