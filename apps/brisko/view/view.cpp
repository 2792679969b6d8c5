#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/formats.h>
#include <brisko_scan/view.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.view/1";

constexpr const char* kDetails =
    "The page opens from the disk in any browser of today and needs no network: 3D over a "
    "panorama, "
    "colour, intensity, height, range and normals, picked points, distances, a clip box. Several "
    "scans are shown in the aligned frame.\n"
    "Photos beside a native scan or inside an E57 file are shown small at their place.\n"
    "It holds a thinned copy of the scans: an even part of the columns and rows, or of the points "
    "of "
    "a cloud. A point lies within 0.3 mm of the measured one at 20 m, 1 mm at 100 m. With --full "
    "the "
    "page also opens the files of indexed CL3 scans (.cl3 with .ij), which the browser asks for, "
    "and "
    "shows every point with its exact values.";

struct Line {
    scan::ViewOptions options;
    bool json = false;
};

nlohmann::ordered_json scanJson(const scan::ViewedScan& viewed) {
    nlohmann::ordered_json json = {{"input", viewed.input},    {"scan", nullptr},
                                   {"name", viewed.name},      {"grid", nullptr},
                                   {"points", viewed.points},  {"read", viewed.read},
                                   {"leftOut", viewed.leftOut}};
    if (!viewed.scan.empty()) json["scan"] = viewed.scan;
    if (viewed.columns > 0) json["grid"] = {{"columns", viewed.columns}, {"rows", viewed.rows}};
    return json;
}

void printJson(const scan::ViewOptions& options, const scan::ViewResult& result) {
    nlohmann::ordered_json scans = nlohmann::ordered_json::array();
    for (const scan::ViewedScan& viewed : result.scans)
        scans.push_back(scanJson(viewed));
    printDocument({{"schema", kSchema},
                   {"output", options.output},
                   {"bytes", result.bytes},
                   {"points", result.points},
                   {"photos", result.photos},
                   {"full", options.full},
                   {"scans", scans}});
}

ExitCode run(const Line& line, ProgressStyle style) {
    ProgressDisplay display(style);
    scan::ViewOptions options = line.options;
    options.progress = display.function();
    options.warning = warn;
    const scan::ViewResult result = scan::writeView(options);
    if (line.json) {
        printJson(options, result);
        return ExitCode::Done;
    }
    for (const scan::ViewedScan& viewed : result.scans)
        std::cout << "  " << printable(viewed.name) << ": " << viewed.points << " of "
                  << countOf(viewed.read, "point") << "\n";
    std::cout << printable(options.output) << ": " << countOf(result.scans.size(), "scan") << ", "
              << countOf(result.points, "point") << ", "
              << (result.photos > 0 ? countOf(result.photos, "photo") + ", " : "")
              << countOf(result.bytes, "byte") << "\n";
    return ExitCode::Done;
}

}  // namespace

Command addView(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("view", "Make a page that shows scans in a browser");
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    app->add_option("SCAN", line->options.inputs,
                    "Scans, folders and patterns to show (" + scan::readableExtensions() + ")")
        ->required();
    app->add_option("-o,--output", line->options.output, "Page to write (.html)")
        ->required()
        ->option_text("OUT.html");
    addOverwrite(*app, line->options.overwrite);
    app->add_option("--points", line->options.points,
                    "Points in the page, of all scans together: 1000 to 10000000 (default 2000000)")
        ->option_text("N")
        ->check(CLI::Range(scan::kFewestViewPoints, scan::kMostViewPoints));
    app->add_flag("--full", line->options.full,
                  "The page can open the files of indexed CL3 scans for all of their points");
    app->add_flag("--no-photos", line->options.withoutPhotos,
                  "Leave out the photos of the stations");
    app->add_option("--title", line->options.title,
                    "Title of the page (default: the first scan's name)")
        ->option_text("TEXT");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
