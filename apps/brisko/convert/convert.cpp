#include "commands.h"
#include "common/json_text.h"
#include "common/message.h"
#include "convert/convert_options.h"

#include <brisko_scan/photos.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.convert/1";

constexpr const char* kAbout = "Convert a scan: .cl3, .clr and .ptx to .cl3, .clr, .ptx and .ply";

constexpr const char* kDetails =
    "The extension of OUTPUT chooses the format:\n"
    "  .cl3  a CL3 scan, with its grid index (.ij) where the input has a grid\n"
    "  .clr  a raw CLR scan: 1/10000 m, whole intensities, no colour\n"
    "  .ptx  text, every cell of the grid; intensity 0..1 stands for 0..2200\n"
    "  .ply  binary point cloud with colour, intensity, column and row\n"
    "The alignment goes along as a matrix (.alg file, PTX header) unless --apply-alignment moves\n"
    "the points. .ply has no place for a matrix, its points are always aligned.\n"
    "OUTPUT appears when it is complete and was checked.";

/// Photos are left behind where the points have no colours of their own.
void noteAboutPhotos(const std::string& scan, const scan::ConvertResult& result) {
    if (result.coloured > 0) return;
    const std::string hint = scan::hintAtPhotos(scan);
    if (!hint.empty()) note(scan + ": converted without colours; " + hint);
}

ExitCode run(const CLI::App& app, const ConvertLine& line, ProgressStyle style) {
    ProgressDisplay display(style);
    const scan::ConvertOptions options = takeConvertOptions(app, line, display);
    const scan::ConvertResult result = scan::convertScan(options);
    if (line.json) {
        printDocument(resultJson(kSchema, options, result));
    } else {
        std::cout << resultText(options, result) << "\n";
    }
    noteAboutPhotos(options.input, result);
    return ExitCode::Done;
}

}  // namespace

Command addConvert(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("convert", kAbout);
    app->footer(kDetails);
    const auto line = std::make_shared<ConvertLine>();
    app->add_option("INPUT", line->options.input, "Scan to read (.cl3, .clr, .ptx)")->required();
    app->add_option("OUTPUT", line->options.output, "Scan to write (.cl3, .clr, .ptx, .ply)")
        ->required();
    addConvertOptions(*app, *line);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [app, line, &common] { return run(*app, *line, common.progress); }};
}

}  // namespace brisko::tool
