#include "commands.h"
#include "common/json.h"

#include <brisko_scan/cell.h>

#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.cell/1";

struct Line {
    std::string scan;
    std::uint32_t column = 0;
    std::uint32_t row = 0;
    bool scannerFrame = false;
    bool json = false;
};

/// The shortest text that reads back to the same number.
template <class Number>
std::string shortest(Number number) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

void printText(const Line& line, const std::optional<CellPoint>& point) {
    std::cout << "column " << line.column << ", row " << line.row << ": ";
    if (!point) {
        std::cout << "empty\n";
        return;
    }
    const CellPoint& p = *point;
    std::cout << shortest(p.x) << " " << shortest(p.y) << " " << shortest(p.z) << ", intensity "
              << shortest(p.intensity);
    if (p.red || p.green || p.blue) {
        std::cout << ", colour " << int{p.red} << " " << int{p.green} << " " << int{p.blue};
    }
    std::cout << "\n";
}

void printJson(const Line& line, const std::optional<CellPoint>& found) {
    using Json = nlohmann::ordered_json;
    Json point = nullptr;
    if (found) {
        const CellPoint& p = *found;
        point = {{"x", jsonNumber(p.x)},
                 {"y", jsonNumber(p.y)},
                 {"z", jsonNumber(p.z)},
                 {"intensity", jsonNumber(p.intensity)},
                 {"colour", Json::array({p.red, p.green, p.blue})}};
    }
    const Json document = {{"schema", kSchema},
                           {"scan", line.scan},
                           {"column", line.column},
                           {"row", line.row},
                           {"frame", line.scannerFrame ? "scanner" : "aligned"},
                           {"point", point}};
    printDocument(document);
}

ExitCode run(const Line& line) {
    const Frame frame = line.scannerFrame ? Frame::Scanner : Frame::Aligned;
    const std::optional<CellPoint> point = scan::readCell(line.scan, line.column, line.row, frame);
    if (line.json) {
        printJson(line, point);
    } else {
        printText(line, point);
    }
    return ExitCode::Done;
}

}  // namespace

Command addCell(CLI::App& tool, const CommonOptions&) {
    CLI::App* app = tool.add_subcommand("cell", "Show the point of one cell, by random access");
    app->footer("An empty cell is no error. The scan needs its index (.ij) beside it.");
    const auto line = std::make_shared<Line>();
    app->add_option("SCAN", line->scan, "Indexed CL3 scan")->required();
    app->add_option("COLUMN", line->column, "Column of the cell, from 0")->required();
    app->add_option("ROW", line->row, "Row of the cell, from 0")->required();
    app->add_flag("--scanner-frame", line->scannerFrame, "Without the scan's alignment");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line] { return run(*line); }};
}

}  // namespace brisko::tool
