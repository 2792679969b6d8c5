#include <brisko_scan/photos.h>
#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "convert/convert_options.h"

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

using scan::ConvertOptions;
using scan::ConvertResult;

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

double share(const ConvertResult& result) {
    return static_cast<double>(result.coloured) / static_cast<double>(result.points);
}

void printText(const ConvertOptions& options, bool verbose, const ScanPhotos& photos,
               const ConvertResult& result) {
    std::cout << options.input << ": photos: " << scan::photosText(photos) << "\n";
    for (const std::string& ignored : scan::ignoredTexts(photos))
        std::cout << options.input << ": " << ignored << "\n";
    if (verbose) {
        for (const ScanPhoto& photo : photos.photos)
            std::cout << "  " << scan::photoText(photos, photo) << "\n";
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

ExitCode run(const CLI::App& app, const Line& line, ProgressStyle style) {
    ProgressDisplay display(style);
    const ConvertOptions options = takeConvertOptions(app, line, display);
    scan::StationPhotos photos;
    const ConvertResult result = scan::colourScan(options, photos);
    for (const scan::PhotoTrouble& trouble : scan::troublesOf(photos))
        warn(scan::troubleText(trouble));
    for (const std::string& remark : scan::remarksOn(photos))
        note(remark);
    if (line.json) {
        printJson(options, photos, result);
    } else {
        printText(options, line.verbose, photos, result);
    }
    return ExitCode::Done;
}

}  // namespace

Command addColour(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("colour", kAbout);
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    app->add_option("INPUT", line->options.input, "Scan to read (.cl3, .clr)")->required();
    app->add_option("OUTPUT", line->options.output, "Scan to write (.cl3, .ptx, .ply)")->required();
    addConvertOptions(*app, *line);
    app->add_flag("--occlusion", line->options.hideOccluded,
                  "Leave out of a photo what something before its camera covers");
    app->add_flag("--verbose", line->verbose, "Show what becomes of each photo");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [app, line, &common] { return run(*app, *line, common.progress); }};
}

}  // namespace brisko::tool
