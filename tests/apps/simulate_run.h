#pragma once

#include "commands.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace brisko::test {

/// Runs `brisko simulate` with arguments, as the tool would. Returns its standard output.
inline std::string runSimulate(std::vector<std::string> arguments) {
    CLI::App tool;
    tool::CommonOptions common;
    common.progress = tool::ProgressStyle::None;
    const tool::Command command = tool::addSimulate(tool, common);
    arguments.insert(arguments.begin(), "simulate");
    // The parser takes its arguments from the back.
    tool.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));

    struct Capture {
        std::ostringstream text;
        std::streambuf* before = std::cout.rdbuf(text.rdbuf());
        ~Capture() { std::cout.rdbuf(before); }
    } capture;
    command.run();
    return capture.text.str();
}

}  // namespace brisko::test
