#include "commands.h"
#include "common/input_file.h"
#include "common/json_number.h"
#include "common/json_text.h"
#include "common/message.h"
#include "convert/convert_options.h"
#include "scan/photo_report.h"

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.colour/1";

constexpr const char* kAbout = "Colour a scan from the photos beside it";

constexpr const char* kDetails =
    "The photos (.jpg) lie in the folder of INPUT, the calibration of their cameras there and in "
    "the\n"
    "folder above it. The extension of OUTPUT chooses the format, as with 'brisko convert': .cl3,\n"
    ".ptx or .ply. Grid, cells, intensities, pose and alignment are those of INPUT. Points are\n"
    "coloured where the scanner measured them, so an alignment changes no colour; points that no\n"
    "photo shows become black. OUTPUT appears when it is complete and was checked.";

struct Line : ConvertLine {
    bool verbose = false;
};

void requireFormats(const ConvertOptions& options) {
    if (scanKind(options.input) == ScanKind::PTX) {
        throw Failure(ExitCode::Usage,
                      options.input + ": only .cl3 and .clr scans have photos beside them");
    }
    if (extensionOf(options.output) == ".clr") {
        throw Failure(ExitCode::Usage, options.output +
                                           ": .clr has no place for colours; name the output "
                                           ".cl3, .ptx or .ply");
    }
    requireOutput(options);
}

/// Throws where colouring would give black points only, or none.
void requirePhotos(const std::string& scan) {
    const InputFile there(scan);  // a scan that is missing has no photos for another reason
    const StationPhotos photos = findStationPhotos(scan);
    requireUsable(photos);
    if (photos.count(PhotoUse::Used) > 0) return;
    if (photos.photos.empty()) {
        throw Failure(ExitCode::Usage,
                      scan + ": there are no photos (.jpg) beside it to take colours from");
    }
    throw Failure(ExitCode::Usage, scan + ": none of the photos beside it can be used: " +
                                       ignoredTexts(photos).front());
}

double share(const ConvertResult& result) {
    return static_cast<double>(result.coloured) / static_cast<double>(result.points);
}

void printText(const Line& line, const ScanPhotos& photos, const ConvertResult& result) {
    const ConvertOptions& options = line.options;
    std::cout << options.input << ": photos: " << photosText(photos) << "\n";
    for (const std::string& ignored : ignoredTexts(photos))
        std::cout << options.input << ": " << ignored << "\n";
    if (line.verbose) {
        for (const ScanPhoto& photo : photos.photos)
            std::cout << "  " << photoText(photos, photo) << "\n";
    }
    std::cout << resultText(options, result);
    if (result.points > 0) {
        std::cout << ", " << percentOf(result.coloured, result.points) << " coloured";
    }
    std::cout << "\n";
}

void printJson(const ConvertOptions& options, const ScanPhotos& photos,
               const ConvertResult& result) {
    nlohmann::ordered_json document = resultJson(kSchema, options, result);
    document["share"] = nullptr;
    if (result.points > 0) document["share"] = jsonNumber(share(result));
    document["photos"] = photosJson(photos);
    printDocument(document);
}

ExitCode run(const Line& line, const ConvertOptions& options) {
    requireFormats(options);
    requirePhotos(options.input);
    std::unique_ptr<ScanInput> input = openColouredScan(options.input);
    // The input holds most of the photos now, so this decodes little.
    const StationPhotos photos = decodeStationPhotos(options.input);
    const ConvertResult result = convertScan(options, std::move(input));
    for (const PhotoTrouble& trouble : troublesOf(photos))
        warn(troubleText(trouble));
    for (const std::string& remark : remarksOn(photos))
        note(remark);
    if (line.json) {
        printJson(options, photos, result);
    } else {
        printText(line, photos, result);
    }
    return ExitCode::Done;
}

}  // namespace

Command addColour(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("colour", kAbout);
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    line->options.task = "colour";
    app->add_option("INPUT", line->options.input, "Scan to read (.cl3, .clr)")->required();
    app->add_option("OUTPUT", line->options.output, "Scan to write (.cl3, .ptx, .ply)")->required();
    addConvertOptions(*app, *line);
    app->add_flag("--verbose", line->verbose, "Show what becomes of each photo");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [app, line, &common] {
                return run(*line, takeConvertOptions(*app, *line, common.progress));
            }};
}

}  // namespace brisko::tool
