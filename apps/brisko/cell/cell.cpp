#include "base/checked.h"
#include "check/scan_check.h"
#include "check/tile_check.h"
#include "commands.h"
#include "common/json_number.h"
#include "common/json_text.h"
#include "scan/cl3_record.h"
#include "scan/scan_input.h"
#include "scan/scan_layout.h"

#include <brisko_codec/cell_reader.h>

#include <charconv>
#include <iostream>
#include <memory>
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

IndexLayout open(CL3CellReader& reader, const Line& line) {
    if (scanKind(line.scan) != ScanKind::CL3) {
        throw Failure(ExitCode::Usage,
                      line.scan +
                          ": single cells are read from indexed .cl3 scans; 'brisko "
                          "convert' makes one");
    }
    const ScanLayout layout = inspectCL3(line.scan);
    requireSound(layout);
    if (!layout.index) {
        throw Failure(ExitCode::Damaged, line.scan + ": the scan has no index (" +
                                             companionOf(line.scan, ".ij") +
                                             "), so its cells cannot be found");
    }
    if (!reader.open(line.scan.c_str())) {
        throw Failure(ExitCode::Damaged, line.scan + ": cannot be opened with its index");
    }
    if (reader.alignment().source == AlignmentSource::Unreadable && !line.scannerFrame) {
        throw Failure(ExitCode::Damaged, companionOf(line.scan, ".alg") +
                                             ": cannot be read as an alignment; --scanner-frame "
                                             "does without it");
    }
    if (line.scannerFrame) reader.setFrame(Frame::Scanner);
    if (line.column >= reader.columns() || line.row >= reader.rows()) {
        throw Failure(ExitCode::Usage, line.scan + ": the grid has columns 0 to " +
                                           std::to_string(std::int64_t{reader.columns()} - 1) +
                                           " and rows 0 to " +
                                           std::to_string(std::int64_t{reader.rows()} - 1));
    }
    return *layout.index;
}

/// The shortest text that reads back to the same number.
template <class Number>
std::string shortest(Number number) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

void printText(const Line& line, bool isPoint, const CellPoint& p) {
    std::cout << "column " << line.column << ", row " << line.row << ": ";
    if (!isPoint) {
        std::cout << "empty\n";
        return;
    }
    std::cout << shortest(p.x) << " " << shortest(p.y) << " " << shortest(p.z) << ", intensity "
              << shortest(p.intensity);
    if (p.red || p.green || p.blue) {
        std::cout << ", colour " << int{p.red} << " " << int{p.green} << " " << int{p.blue};
    }
    std::cout << "\n";
}

void printJson(const Line& line, bool isPoint, const CellPoint& p) {
    using Json = nlohmann::ordered_json;
    Json point = nullptr;
    if (isPoint) {
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

/// The entries of the cell's tile number its points one by one, or any of them may be another's.
void requireSoundTile(const Line& line, const IndexLayout& index) {
    ScanCheck check(1);
    check.path = line.scan;
    TileCheck tiles(check, index.path);
    const std::uint64_t tilesDown = divideRoundingUp(index.rows, index.tileSize);
    tiles.startAt(line.column / index.tileSize * tilesDown + line.row / index.tileSize);
    tiles.next();
    if (check.findings.empty()) return;
    throw Failure(ExitCode::Damaged, findingText(check.findings.kept().front()) + kRepairHint);
}

ExitCode run(const Line& line) {
    CL3CellReader reader;
    requireSoundTile(line, open(reader, line));
    CellPoint point;
    const CellState state = reader.readCell(line.column, line.row, point);
    if (state == CellState::Damaged) {
        throw Failure(ExitCode::Damaged, line.scan + ": column " + std::to_string(line.column) +
                                             ", row " + std::to_string(line.row) +
                                             ": the index promises a point that the scan does not "
                                             "hold");
    }
    const bool isPoint = state == CellState::Point;
    if (isPoint && !isFinite(point)) {
        failDamaged(line.scan, line.scan + ": the point is not finite in all its numbers");
    }
    if (line.json) {
        printJson(line, isPoint, point);
    } else {
        printText(line, isPoint, point);
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
