#include "commands.h"
#include "common/message.h"
#include "convert/conversion.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace brisko::tool {
namespace {

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

/// What the command line is parsed into.
struct Line {
    ConvertOptions options;
    double maxDistance = 0;
    std::vector<double> box;
};

void addOptions(CLI::App& app, Line& line) {
    app.add_option("INPUT", line.options.input, "Scan to read (.cl3, .clr, .ptx)")->required();
    app.add_option("OUTPUT", line.options.output, "Scan to write (.cl3, .clr, .ptx, .ply)")
        ->required();
    app.add_flag("--plain", line.options.plain, "Write .cl3 without an index");
    app.add_option("--max-distance", line.maxDistance,
                   "Only points at most D metres from the scanner")
        ->option_text("D")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--box", line.box,
                   "Only points in this box of the aligned frame, as 'info --count' shows it; "
                   "metres, faces included")
        ->option_text("X0,Y0,Z0,X1,Y1,Z1")
        ->delimiter(',')
        ->expected(6);
    app.add_flag("--valid", line.options.validOnly,
                 "Only points that are not at the scanner's own place (0, 0, 0)");
    app.add_option("--columns", line.options.columns,
                   "Only columns from A up to, not including, B; they become the whole grid. "
                   "A or B may be left out")
        ->option_text("A:B");
    app.add_option("--rows", line.options.rows,
                   "Only rows from C up to, not including, D, likewise")
        ->option_text("C:D");
    app.add_flag("--apply-alignment", line.options.applyAlignment,
                 "Move the points into the aligned frame; the output has no matrix then");
}

ConvertOptions takeOptions(const CLI::App& app, const Line& line, const CommonOptions& common) {
    ConvertOptions options = line.options;
    options.progress = common.progress;
    if (app.count("--max-distance") > 0) options.maxDistance = line.maxDistance;
    if (!line.box.empty()) {
        Box box{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(line.box[axis], line.box[axis + 3]);
            box.max[axis] = std::max(line.box[axis], line.box[axis + 3]);
        }
        options.box = box;
    }
    return options;
}

ExitCode run(const ConvertOptions& options) {
    const ConvertResult result = convertScan(options);
    std::cout << options.output << ": " << countOf(result.points, "point");
    if (result.columns > 0) {
        std::cout << ", " << result.columns << " columns x " << result.rows << " rows";
    }
    std::error_code ignored;
    std::cout << ", " << std::filesystem::file_size(options.output, ignored) << " bytes\n";
    return ExitCode::Done;
}

}  // namespace

Command addConvert(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("convert", kAbout);
    app->footer(kDetails);
    const auto line = std::make_shared<Line>();
    addOptions(*app, *line);
    return {app, [app, line, &common] { return run(takeOptions(*app, *line, common)); }};
}

}  // namespace brisko::tool
