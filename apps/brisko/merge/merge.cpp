#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "convert/convert_options.h"

#include <brisko_scan/formats.h>
#include <brisko_scan/merge.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.merge/1";

constexpr const char* kDetails =
    "Each INPUT is a scan, a folder of scans or a pattern; a file with several scans gives all of "
    "them.\n"
    ".e57 and .ptx hold several scans: each keeps its grid, its pose and its name, which is the "
    "file's\n"
    "where the input gives none. Other formats get one aligned cloud; .las and .ply keep column "
    "and row\n"
    "of each point, and the number of its station. OUTPUT appears when all scans are in it, or "
    "not at\n"
    "all.";

struct Line {
    ConvertLine conversion;
    std::vector<std::string> files;  // the output is the last
    bool align = false;
};

std::string scanText(const scan::MergedScan& merged) {
    std::string text = merged.name + ": " + countOf(merged.points, "point");
    if (merged.columns > 0) {
        text += ", " + std::to_string(merged.columns) + " columns x " +
                std::to_string(merged.rows) + " rows";
    }
    return text;
}

nlohmann::ordered_json scanJson(const scan::MergedScan& merged) {
    nlohmann::ordered_json json = {{"input", merged.input},
                                   {"scan", nullptr},
                                   {"name", merged.name},
                                   {"grid", nullptr},
                                   {"points", merged.points},
                                   {"coloured", merged.coloured},
                                   {"leftOut", leftOutJson(merged.leftOut)}};
    if (!merged.scan.empty()) json["scan"] = merged.scan;
    if (merged.columns > 0) json["grid"] = {{"columns", merged.columns}, {"rows", merged.rows}};
    return json;
}

void printJson(const std::string& output, const scan::MergeResult& result) {
    nlohmann::ordered_json scans = nlohmann::ordered_json::array();
    for (const scan::MergedScan& merged : result.scans)
        scans.push_back(scanJson(merged));
    printDocument({{"schema", kSchema},
                   {"output", output},
                   {"bytes", result.bytes},
                   {"isCloud", result.isCloud},
                   {"points", result.points},
                   {"coloured", result.coloured},
                   {"scans", scans}});
}

ExitCode run(const CLI::App& app, const Line& line, ProgressStyle style) {
    if (line.files.size() < 2) {
        throw ScanError(ErrorKind::Request, {}, "one INPUT at least and the OUTPUT are expected");
    }
    ProgressDisplay display(style);
    scan::MergeOptions options;
    options.each = takeConvertOptions(app, line.conversion, display);
    options.each.output = line.files.back();
    options.inputs.assign(line.files.begin(), line.files.end() - 1);
    options.align = line.align;
    const scan::MergeResult result = scan::mergeScans(options);
    if (line.conversion.json) {
        printJson(options.each.output, result);
        return ExitCode::Done;
    }
    for (const scan::MergedScan& merged : result.scans)
        std::cout << "  " << printable(scanText(merged)) << "\n";
    std::cout << printable(options.each.output) << ": " << countOf(result.scans.size(), "scan")
              << (result.isCloud ? " in one cloud, " : ", ") << countOf(result.points, "point")
              << ", " << countOf(result.bytes, "byte") << "\n";
    return ExitCode::Done;
}

}  // namespace

Command addMerge(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("merge", "Put several scans into one file");
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->files,
                    "INPUT... OUTPUT: scans, folders and patterns to read (" +
                        scan::readableExtensions() + "), and the file to write")
        ->required();
    app->add_flag("--align", line->align,
                  "One aligned cloud, also in a format that holds several scans");
    addConvertOptions(*app, line->conversion);
    // What is about one scan, or looks at the points of one by themselves.
    for (const char* const option :
         {"--plain", "--scan", "--apply-alignment", "--matrix", "--export-matrix", "--voxel"})
        app->remove_option(app->get_option(option));
    app->add_flag("--json", line->conversion.json, "Print JSON, schema " + std::string(kSchema));
    return {app, [app, line, &common] { return run(*app, *line, common.progress); }};
}

}  // namespace brisko::tool
