#include "commands.h"
#include "common/json_text.h"
#include "common/message.h"
#include "convert/convert_options.h"

#include <brisko_scan/formats.h>
#include <brisko_scan/photos.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.convert/1";

std::string about() {
    return "Convert a scan: " + scan::readableExtensions() + " to " + scan::writableExtensions();
}

std::string details() {
    std::string text = "The extension of OUTPUT chooses the format:\n";
    for (const scan::Format& format : scan::formats()) {
        if (format.writes)
            text += "  " + std::string(format.extension) + "  " + format.about + "\n";
    }
    return text +
           "The alignment goes along as a matrix (.alg file, PTX header, PCD viewpoint) unless\n"
           "--apply-alignment moves the points. .ply and .las have no place for a matrix, their "
           "points\n"
           "are always aligned.\n"
           "OUTPUT appears when it is complete and was checked.";
}

/// Points out that photos were not used where the points have no colours of their own.
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
    CLI::App* app = tool.add_subcommand("convert", about());
    app->footer(details());
    const auto line = std::make_shared<ConvertLine>();
    app->add_option("INPUT", line->options.input,
                    "Scan to read (" + scan::readableExtensions() + ")")
        ->required();
    app->add_option("OUTPUT", line->options.output,
                    "Scan to write (" + scan::writableExtensions() + ")")
        ->required();
    addConvertOptions(*app, *line);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [app, line, &common] { return run(*app, *line, common.progress); }};
}

}  // namespace brisko::tool
