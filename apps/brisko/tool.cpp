#include "tool.h"

#include "commands.h"
#include "common/message.h"
#include "common/options.h"
#include "common/results_channel.h"
#include "usage.h"

#include <brisko_codec/threads.h>
#include <brisko_codec/version.h>

#include <iostream>
#include <map>
#include <vector>

namespace brisko::tool {
namespace {

const std::map<std::string, ProgressStyle> kStyles = {{"auto", ProgressStyle::Auto},
                                                      {"plain", ProgressStyle::Plain},
                                                      {"json", ProgressStyle::Json},
                                                      {"none", ProgressStyle::None}};

/// Every thread has buffers of its own.
constexpr unsigned kMostThreads = 1024;

int number(ExitCode code) {
    return static_cast<int>(code);
}

void addCommonOptions(CLI::App& tool, CommonOptions& common) {
    tool.set_version_flag("-V,--version", "brisko " + briskoCodecVersion(), "Print the version");
    addChoice(tool, "--progress", common.progress, kStyles,
              "How progress is shown: auto (a bar on a terminal), plain, json or none")
        ->option_text("STYLE");
    tool.add_option_function<unsigned>(
            "--threads", setJobThreads,
            "Threads of a job (by default as many as there are processors that it may use)")
        ->check(CLI::Range(1U, kMostThreads))
        ->option_text("N");
    tool.fallthrough();  // common options may follow the command
    tool.require_subcommand(1);
}

ExitCode runParsed(const std::vector<Command>& commands) {
    for (const Command& command : commands) {
        if (command.app->parsed()) return command.run();
    }
    return ExitCode::Usage;
}

/// Runs the command and turns what it throws into a message and an exit code.
ExitCode runGuarded(const std::vector<Command>& commands) {
    try {
        return runParsed(commands);
    } catch (const ScanError& error) {
        const bool isStopped = error.kind() == ErrorKind::Cancelled;
        complain(isStopped ? "stopped; no incomplete output was left" : error.what());
        return exitCodeOf(error.kind());
    } catch (const std::bad_alloc&) {
        complain("out of memory");
        return ExitCode::Damaged;
    } catch (const std::exception& error) {
        complain(error.what());
        return ExitCode::Damaged;
    }
}

/// Results that nobody received were not delivered; a reader that went away had enough of them.
int delivered(ResultsChannel& results, ExitCode code) {
    const Delivery delivery = results.flush();
    if (delivery == Delivery::Done || code != ExitCode::Done) return number(code);
    if (delivery == Delivery::Closed) return kClosedPipe;
    complain("standard output: the results could not be written");
    return number(ExitCode::NotWritten);
}

/// A line that could not be parsed; --help and --version end so, too, but are no errors.
int endParsing(CLI::App& tool, const CLI::ParseError& error, ResultsChannel& results) {
    if (error.get_exit_code() == 0) {
        tool.exit(error, std::cout, std::cerr);
        return delivered(results, ExitCode::Done);
    }
    if (isBare(tool)) {
        std::cerr << helpOf(tool);
    } else {
        complain(usageMessage(tool, error));
    }
    return number(ExitCode::Usage);
}

}  // namespace

int runTool(int argc, const char* const* argv) {
    ResultsChannel results;
    CLI::App tool("Looks at, converts and simulates scans of terrestrial laser scanners.",
                  "brisko");
    CommonOptions common;
    common.results = &results;
    addCommonOptions(tool, common);
    const std::vector<Command> commands = {
        addInfo(tool, common),  addSimulate(tool, common), addConvert(tool, common),
        addMerge(tool, common), addColour(tool, common),   addPanorama(tool, common),
        addView(tool, common),  addCell(tool, common),     addIndex(tool, common),
        addCheck(tool, common), addRepair(tool, common),   addSplit(tool, common),
        addJoin(tool, common),  addImages(tool, common),   addHelp(tool)};
    setUpHelp(tool);
    try {
        tool.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return endParsing(tool, error, results);
    }
    return delivered(results, runGuarded(commands));
}

}  // namespace brisko::tool
