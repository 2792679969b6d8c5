#include "tool.h"

#include "commands.h"
#include "common/choice.h"
#include "common/results_channel.h"

#include <brisko_codec/version.h>

#include <cstdio>
#include <map>
#include <vector>

namespace brisko::tool {
namespace {

const std::map<std::string, ProgressStyle> kStyles = {{"auto", ProgressStyle::Auto},
                                                      {"plain", ProgressStyle::Plain},
                                                      {"json", ProgressStyle::Json},
                                                      {"none", ProgressStyle::None}};

int number(ExitCode code) {
    return static_cast<int>(code);
}

void complain(const std::string& text) {
    std::fprintf(stderr, "brisko: %s\n", text.c_str());
}

/// What the command line lacks, in one line.
std::string usageMessage(const CLI::App* tool, const CLI::Error& error) {
    std::string reason = error.what();
    const std::vector<std::string> rest = tool->remaining();
    if (!rest.empty() && tool->get_subcommands().empty()) {
        reason = "there is no command '" + rest.front() + "'";
    }
    return "brisko: " + reason + "; 'brisko --help' tells what there is\n";
}

void addCommonOptions(CLI::App& tool, CommonOptions& common) {
    tool.set_version_flag("--version", "brisko " + briskoCodecVersion(), "Print the version");
    addChoice(tool, "--progress", common.progress, kStyles,
              "How progress is shown: auto (a bar on a terminal), plain, json or none")
        ->option_text("STYLE");
    tool.fallthrough();  // common options may follow the command
    tool.require_subcommand(1);
    tool.failure_message(usageMessage);
    tool.footer(
        "Exit codes: 0 done, 1 some inputs failed, 2 the command line makes no sense,\n"
        "3 an input is damaged or cannot be read, 4 an output could not be written,\n"
        "130 stopped by Ctrl-C. 'brisko COMMAND --help' tells more of a command.");
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
    } catch (const Interrupted&) {
        complain("stopped; nothing half-done was left behind");
        return ExitCode::Interrupted;
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.code();
    } catch (const std::bad_alloc&) {
        complain("out of memory");
        return ExitCode::Damaged;
    } catch (const std::exception& error) {
        complain(error.what());
        return ExitCode::Damaged;
    }
}

/// Results that nobody received were not delivered.
ExitCode delivered(ResultsChannel& results, ExitCode code) {
    if (results.flush() || code != ExitCode::Done) return code;
    complain("standard output: the results could not be written");
    return ExitCode::NotWritten;
}

}  // namespace

int runTool(int argc, const char* const* argv) {
    ResultsChannel results;
    CLI::App tool("Looks at, converts and simulates scans of terrestrial laser scanners.",
                  "brisko");
    CommonOptions common;
    addCommonOptions(tool, common);
    const std::vector<Command> commands = {
        addInfo(tool, common),   addSimulate(tool, common), addConvert(tool, common),
        addColour(tool, common), addPanorama(tool, common), addCell(tool, common),
        addIndex(tool, common),  addCheck(tool, common),    addRepair(tool, common)};
    try {
        tool.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Also how --help and --version end; they are no errors.
        return tool.exit(error) == 0 ? number(delivered(results, ExitCode::Done))
                                     : number(ExitCode::Usage);
    }
    return number(delivered(results, runGuarded(commands)));
}

}  // namespace brisko::tool
