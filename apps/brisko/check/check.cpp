#include "commands.h"
#include "common/json.h"
#include "common/message.h"

#include <brisko_scan/check.h>

#include <iostream>
#include <memory>
#include <vector>

namespace brisko::tool {
namespace {

using scan::Finding;
using scan::ScanCheck;

constexpr const char* kSchema = "brisko.check/1";

struct Line {
    std::vector<std::string> files;
    std::size_t most = 10;
    bool json = false;
};

/// Whether the records are the cells of a grid.
bool hasCells(const ScanCheck& check) {
    return check.format->needsGrid && !check.format->isNative;
}

void printText(const ScanCheck& check) {
    for (const Finding& finding : check.findings.kept())
        std::cout << scan::findingText(finding) << "\n";
    for (const auto& [kind, count] : check.findings.unlisted())
        std::cout << check.path << ": " << count << " more of kind '" << kind << "'\n";
    for (const std::string& note : check.notes)
        std::cout << check.path << ": note: " << note << "\n";
    std::cout << check.path << ": "
              << (check.findings.empty() ? "sound" : countOf(check.findings.count(), "finding"))
              << ", ";
    if (hasCells(check)) {
        std::cout << check.columns << " columns x " << check.rows << " rows, "
                  << countOf(check.records, "cell") << ", ";
    } else if (check.format->isNative) {
        std::cout << countOf(check.blocks, "whole block") << ", "
                  << countOf(check.records, "record") << ", ";
    }
    std::cout << countOf(check.points, "point") << "\n";
}

nlohmann::ordered_json checkJson(const ScanCheck& check) {
    nlohmann::ordered_json json = {{"path", check.path},
                                   {"sound", check.findings.empty()},
                                   {"blocks", check.blocks},
                                   {"records", check.records},
                                   {"points", check.points},
                                   {"findingCount", check.findings.count()},
                                   {"findings", nlohmann::ordered_json::array()},
                                   {"notes", check.notes},
                                   {"photos", photosJson(check.photos)},
                                   {"error", nullptr}};
    if (hasCells(check)) {
        json["grid"] = {{"columns", check.columns}, {"rows", check.rows}};
    }
    for (const Finding& finding : check.findings.kept())
        json["findings"].push_back(findingJson(finding));
    return json;
}

/// Checks one scan after the other; a damaged one does not keep the others from being looked at.
ExitCode run(const Line& line, ProgressStyle style) {
    ExitCode code = ExitCode::Done;
    nlohmann::ordered_json scans = nlohmann::ordered_json::array();
    FileOfSeveral place{0, line.files.size()};
    for (const std::string& file : line.files) {
        ++place.number;
        place.file = file;
        try {
            ProgressDisplay display(style, place);
            const ScanCheck check = scan::checkScan(file, line.most, display.function());
            if (!check.findings.empty()) code = ExitCode::Damaged;
            if (line.json) scans.push_back(checkJson(check));
            if (!line.json) printText(check);
        } catch (const ScanError& error) {
            if (error.kind() == ErrorKind::Cancelled) throw;
            complain(error.what());
            if (code == ExitCode::Done) code = exitCodeOf(error.kind());
            scans.push_back({{"path", file}, {"sound", false}, {"error", error.what()}});
        }
    }
    if (line.json) {
        printDocument({{"schema", kSchema}, {"scans", scans}});
    }
    return code;
}

}  // namespace

Command addCheck(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand(
        "check", "Read a scan to its last byte and report everything that is wrong with it");
    app->footer(
        "Looked at: the header; block sizes against the size of the file; the index against the\n"
        "blocks, its entries one by one; the alignment; compressed lines; every point for finite\n"
        "numbers and directions that the header covers, give or take two steps; the photos "
        "beside\n"
        "the scan and the calibration of their cameras. A .ptx scan: its header, every line, and "
        "the\n"
        "number of cells against the grid; places are lines. Other formats: everything that keeps "
        "a\n"
        "file from being read, and what the header says wrongly of the points.\n"
        "Blocks and bytes count from 0.\n"
        "'brisko repair' salvages what is left of a damaged scan.");
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->files, "Scans (" + scan::readableExtensions() + ")")->required();
    app->add_option("--most", line->most, "List at most N findings of a kind; all are counted")
        ->option_text("N")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}))
        ->capture_default_str();
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
