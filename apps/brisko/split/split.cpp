#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "split/shell_text.h"

#include <brisko_scan/bands.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.split/1";

constexpr const char* kDetails =
    "Each line is a job that makes one band: whole tiles of 256 columns, of which nothing else is "
    "read.\n"
    "Jobs may run in any order, on any machine that sees the files, and again after a failure:\n"
    "  brisko split yard.clr --bands 16 | parallel --joblog log --resume-failed\n"
    "  brisko split yard.clr --bands 16 --join yard.cl3 | sh\n"
    "The last line puts the bands together, into the bytes that one run over the whole scan "
    "makes.\n"
    "A TEMPLATE is a command line of its own, in which {input}, {output}, {columns} (as A:B), "
    "{first},\n"
    "{end} and {number} are replaced.";

struct Line {
    std::string input;
    std::uint32_t bands = 0;
    std::string folder;
    std::string command = "convert";
    std::string pattern;
    std::string join;
    bool missing = false;
    bool json = false;
};

std::string columnsOf(const scan::Band& band) {
    return std::to_string(band.first) + ":" + std::to_string(band.end);
}

std::string patternOf(const Line& line) {
    if (!line.pattern.empty()) return line.pattern;
    return "brisko " + line.command + " {input} {output} --columns {columns} --overwrite";
}

std::string jobOf(const Line& line, const scan::Band& band, std::size_t number) {
    return filledIn(patternOf(line), {{"{input}", shellText(line.input)},
                                      {"{output}", shellText(band.output)},
                                      {"{columns}", columnsOf(band)},
                                      {"{first}", std::to_string(band.first)},
                                      {"{end}", std::to_string(band.end)},
                                      {"{number}", std::to_string(number)}});
}

std::string joinOf(const Line& line, const scan::BandPlan& plan) {
    std::string text = "brisko join";
    for (const scan::Band& band : plan.bands)
        text += " " + shellText(band.output);
    return text + " " + shellText(line.join);
}

void printJson(const Line& line, const scan::BandPlan& plan) {
    nlohmann::ordered_json jobs = nlohmann::ordered_json::array();
    std::size_t number = 0;
    for (const scan::Band& band : plan.bands) {
        ++number;
        if (line.missing && band.isDone) continue;
        jobs.push_back({{"number", number},
                        {"columns", {{"first", band.first}, {"end", band.end}}},
                        {"output", band.output},
                        {"isDone", band.isDone},
                        {"command", jobOf(line, band, number)}});
    }
    nlohmann::ordered_json document = {{"schema", kSchema},
                                       {"input", plan.input},
                                       {"grid", {{"columns", plan.columns}, {"rows", plan.rows}}},
                                       {"jobs", jobs},
                                       {"join", nullptr}};
    if (!line.join.empty()) document["join"] = joinOf(line, plan);
    printDocument(document);
}

ExitCode run(const Line& line) {
    const scan::BandPlan plan = scan::planBands(line.input, line.bands, line.folder);
    if (line.json) {
        printJson(line, plan);
        return ExitCode::Done;
    }
    if (!line.join.empty()) {
        std::cout << joinOf(line, plan) << "\n";
        return ExitCode::Done;
    }
    std::size_t number = 0;
    for (const scan::Band& band : plan.bands) {
        ++number;
        if (!line.missing || !band.isDone) std::cout << jobOf(line, band, number) << "\n";
    }
    return ExitCode::Done;
}

}  // namespace

Command addSplit(CLI::App& tool, const CommonOptions&) {
    CLI::App* app =
        tool.add_subcommand("split", "List the jobs that make a scan band by band, side by side");
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    app->add_option("SCAN", line->input, "Scan to divide (.clr, or .cl3 with its index)")
        ->required();
    app->add_option("--bands", line->bands, "So many jobs; never more than columns of tiles")
        ->option_text("N")
        ->required()
        ->check(CLI::Range(1u, 0x7fffffffu));
    app->add_option("--folder", line->folder, "Where the bands go; else beside SCAN")
        ->option_text("FOLDER");
    app->add_option("--command", line->command, "What a job does: convert or colour")
        ->option_text("COMMAND")
        ->check(CLI::IsMember({"convert", "colour"}));
    app->add_option("--template", line->pattern, "A job's command line instead, see below")
        ->option_text("TEMPLATE");
    app->add_option("--join", line->join,
                    "Print the line that makes this scan of all bands, instead")
        ->option_text("OUT.cl3");
    app->add_flag("--missing", line->missing,
                  "Only jobs whose band is not there yet, sound and younger than SCAN");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line] { return run(*line); }};
}

}  // namespace brisko::tool
