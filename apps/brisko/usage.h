#pragma once

#include "commands.h"

#include <string>

namespace brisko::tool {

/// What a command line lacks, in one line: names the option or command that is not known and the
/// nearest one that is.
std::string usageMessage(const CLI::App& tool, const CLI::Error& error);

/// Whether nothing at all was asked for.
bool isBare(const CLI::App& tool);

/// Help in lines of at most 100 characters; every command's ends with its exit codes.
void setUpHelp(CLI::App& tool);

/// The tool's own help, whatever command was parsed.
std::string helpOf(const CLI::App& tool);

/// "brisko help COMMAND" is "brisko COMMAND --help".
Command addHelp(CLI::App& tool);

}  // namespace brisko::tool
