#pragma once

#include "convert/conversion.h"

#include <CLI/CLI.hpp>
#include <vector>

namespace brisko::tool {

/// What the command line of a conversion is parsed into.
struct ConvertLine {
    ConvertOptions options;
    double maxDistance = 0;
    std::vector<double> box;
    bool json = false;
};

/// Adds the options that choose points and how they are written.
void addConvertOptions(CLI::App& app, ConvertLine& line);

/// What the user asked for, once the line is parsed.
ConvertOptions takeConvertOptions(const CLI::App& app, const ConvertLine& line,
                                  ProgressStyle progress);

}  // namespace brisko::tool
