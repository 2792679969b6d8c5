#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/bands.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.join/1";

constexpr const char* kDetails =
    "Each BAND is an indexed .cl3 that 'brisko convert' or 'brisko colour' made with --columns, of "
    "one\n"
    "scan and with the same options; 'brisko split' lists such jobs. They come in the order of "
    "their\n"
    "columns, without a gap or an overlap, and all but the last have whole tiles of 256 columns. "
    "Blocks\n"
    "and tiles are copied, so OUTPUT has the bytes that one run over the whole scan makes. It "
    "appears\n"
    "when it is complete and was read back.";

struct Line {
    std::vector<std::string> files;  // the output is the last
    bool overwrite = false;
    bool json = false;
};

void printJson(const scan::JoinOptions& options, const scan::JoinResult& result) {
    printDocument({{"schema", kSchema},
                   {"output", options.output},
                   {"bytes", result.bytes},
                   {"grid", {{"columns", result.columns}, {"rows", result.rows}}},
                   {"points", result.points},
                   {"bands", options.inputs}});
}

ExitCode run(const Line& line, ProgressStyle style) {
    if (line.files.size() < 2) {
        throw ScanError(ErrorKind::Request, {}, "one BAND at least and the OUTPUT are expected");
    }
    ProgressDisplay display(style);
    scan::JoinOptions options;
    options.inputs.assign(line.files.begin(), line.files.end() - 1);
    options.output = line.files.back();
    options.overwrite = line.overwrite;
    options.progress = display.function();
    const scan::JoinResult result = scan::joinBands(options);
    if (line.json) {
        printJson(options, result);
        return ExitCode::Done;
    }
    std::cout << printable(options.output) << ": " << countOf(options.inputs.size(), "band") << ", "
              << countOf(result.points, "point") << ", " << result.columns << " columns x "
              << result.rows << " rows, " << countOf(result.bytes, "byte") << ", checked\n";
    return ExitCode::Done;
}

}  // namespace

Command addJoin(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("join", "Put the bands of a scan together");
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->files,
                    "BAND... OUTPUT: indexed scans (.cl3), and the scan to write")
        ->required();
    addOverwrite(*app, line->overwrite);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
