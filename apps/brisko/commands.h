#pragma once

#include "common/message.h"
#include "common/progress.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace brisko::tool {

class ResultsChannel;

/// What every command knows.
struct CommonOptions {
    ProgressStyle progress = ProgressStyle::Auto;
    ResultsChannel* results = nullptr;  // where std::cout leads
};

/// Adds a command with its options to the tool; the function runs it once the line is parsed.
/// `common` is filled in by then. Commands throw ScanError to end.
using Run = std::function<ExitCode()>;
struct Command {
    CLI::App* app;
    Run run;
};

Command addInfo(CLI::App& tool, const CommonOptions& common);
Command addSimulate(CLI::App& tool, const CommonOptions& common);
Command addConvert(CLI::App& tool, const CommonOptions& common);
Command addMerge(CLI::App& tool, const CommonOptions& common);
Command addColour(CLI::App& tool, const CommonOptions& common);
Command addPanorama(CLI::App& tool, const CommonOptions& common);
Command addCell(CLI::App& tool, const CommonOptions& common);
Command addIndex(CLI::App& tool, const CommonOptions& common);
Command addCheck(CLI::App& tool, const CommonOptions& common);
Command addSplit(CLI::App& tool, const CommonOptions& common);
Command addJoin(CLI::App& tool, const CommonOptions& common);
Command addImages(CLI::App& tool, const CommonOptions& common);
Command addRepair(CLI::App& tool, const CommonOptions& common);
Command addView(CLI::App& tool, const CommonOptions& common);

}  // namespace brisko::tool
