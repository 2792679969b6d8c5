#pragma once

#include <stdexcept>
#include <string>

namespace brisko::tool {

/// What the tool answers to the shell.
enum class ExitCode {
    Done = 0,
    SomeFailed = 1,  // of several inputs
    Usage = 2,       // the command line makes no sense
    Damaged = 3,     // an input is damaged or cannot be read
    NotWritten = 4,  // an output could not be written
    Interrupted = 130,
};

/// Ends a command. The text names the file, the place in it, and what the user can do.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

/// Ends a command after Ctrl-C; outputs that are not complete go as the stack unwinds.
struct Interrupted {};

}  // namespace brisko::tool
