#include "convert/convert_options.h"

#include "common/number_option.h"
#include "common/overwrite.h"

#include <algorithm>

namespace brisko::tool {

void addConvertOptions(CLI::App& app, ConvertLine& line) {
    app.add_flag("--plain", line.options.plain, "Write .cl3 without an index");
    addOverwrite(app, line.options.overwrite);
    takeNumbers(app.add_option("--max-distance", line.maxDistance,
                               "Only points at most D metres from the scanner"),
                kLengths)
        ->option_text("D");
    takeNumbers(app.add_option("--box", line.box,
                               "Only points in this box of the aligned frame, as 'info --count' "
                               "shows it; metres, faces included; inf leaves a side open"),
                {})
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

ConvertOptions takeConvertOptions(const CLI::App& app, const ConvertLine& line,
                                  ProgressStyle progress) {
    ConvertOptions options = line.options;
    options.progress = progress;
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

}  // namespace brisko::tool
