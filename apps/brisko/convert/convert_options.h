#pragma once

#include "commands.h"

#include <brisko_scan/convert.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace brisko::tool {

/// What the command line of a conversion is parsed into.
struct ConvertLine {
    scan::ConvertOptions options;
    double minDistance = 0, maxDistance = 0;
    std::vector<double> box;
    std::string columns, rows;      // "A:B"
    std::string intensities;        // "A:B", any numbers
    std::string chosenIntensities;  // the same, or "A:", or ":B"
    std::string matrix;             // a path
    bool json = false;
};

/// Adds the options that choose points and how they are written.
void addConvertOptions(CLI::App& app, ConvertLine& line);

/// What the user asked for, once the line is parsed. Warnings go to standard error.
/// Throws ScanError(Request) for a range that is none.
scan::ConvertOptions takeConvertOptions(const CLI::App& app, const ConvertLine& line,
                                        ProgressDisplay& display);

/// "out.cl3: 12 points, 4 columns x 3 rows, 531 bytes".
std::string resultText(const scan::ConvertOptions& options, const scan::ConvertResult& result);

/// The same for programs, with the number of points left out, by reason.
nlohmann::ordered_json resultJson(const std::string& schema, const scan::ConvertOptions& options,
                                  const scan::ConvertResult& result);

/// How many points of a scan have no place in the output, by reason.
nlohmann::ordered_json leftOutJson(const scan::LeftOut& leftOut);

}  // namespace brisko::tool
