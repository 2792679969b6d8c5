#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/repair.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

using scan::Finding;
using scan::RepairOptions;
using scan::Salvage;

constexpr const char* kSchema = "brisko.repair/1";

struct Line {
    RepairOptions options;
    bool json = false;
};

void printText(const RepairOptions& options, const Salvage& salvage) {
    for (const Finding& loss : salvage.losses.kept())
        std::cout << scan::findingText(loss) << "\n";
    for (const auto& [kind, count] : salvage.losses.unlisted())
        std::cout << options.input << ": " << count << " more of kind '" << kind << "'\n";
    std::cout << options.output << ": " << countOf(salvage.points, "point");
    if (salvage.columns > 0) {
        std::cout << ", " << salvage.columns << " columns x " << salvage.rows << " rows";
    }
    std::cout << ", " << countOf(salvage.blocks, "block") << ", " << salvage.bytes
              << " bytes; lost: " << countOf(salvage.lostCells, "cell") << ", "
              << countOf(salvage.lostRecords, "record") << "\n";
}

nlohmann::ordered_json repairJson(const RepairOptions& options, const Salvage& salvage) {
    nlohmann::ordered_json json = {{"schema", kSchema},
                                   {"input", options.input},
                                   {"output", options.output},
                                   {"points", salvage.points},
                                   {"blocks", salvage.blocks},
                                   {"grid", nullptr},
                                   {"bytes", salvage.bytes},
                                   {"lostCells", salvage.lostCells},
                                   {"lostRecords", salvage.lostRecords},
                                   {"lossCount", salvage.losses.count()},
                                   {"losses", nlohmann::ordered_json::array()}};
    if (salvage.columns > 0) {
        json["grid"] = {{"columns", salvage.columns}, {"rows", salvage.rows}};
    }
    for (const Finding& loss : salvage.losses.kept())
        json["losses"].push_back(findingJson(loss));
    return json;
}

ExitCode run(const Line& line, ProgressStyle style) {
    ProgressDisplay display(style);
    RepairOptions options = line.options;
    options.progress = display.function();
    const Salvage salvage = scan::repairScan(options);
    if (line.json) {
        printDocument(repairJson(options, salvage));
    } else {
        printText(options, salvage);
    }
    return ExitCode::Done;
}

}  // namespace

Command addRepair(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand(
        "repair", "Salvage what is left of a damaged or cut scan into a new complete one");
    app->footer(
        "An indexed CL3 scan keeps the cells on which index and records agree; index and "
        "alignment\n"
        "file are written anew. A plain one keeps every record that can be found. A CLR scan "
        "keeps\n"
        "its grid: missing cells become empty ones. What was lost is listed with its block and\n"
        "byte; points outside the header's angles are kept. INPUT is never touched.\n"
        "Where nothing can be salvaged, no OUTPUT appears.");
    const auto line = std::make_shared<Line>();
    app->add_option("INPUT", line->options.input, "Scan to read (.cl3, .clr)")->required();
    app->add_option("OUTPUT", line->options.output, "Scan to write, of the same format")
        ->required();
    addOverwrite(*app, line->options.overwrite);
    app->add_flag("--plain", line->options.plain,
                  "Leave the index of a .cl3 aside and keep every record, without cells");
    app->add_option("--most", line->options.most,
                    "List at most N losses of a kind; all are counted")
        ->option_text("N")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}))
        ->capture_default_str();
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
