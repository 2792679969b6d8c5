#pragma once

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <string>
#include <string_view>

namespace brisko::tool {

using scan::ErrorKind;
using scan::ScanError;

/// What the tool answers to the shell.
enum class ExitCode {
    Done = 0,
    SomeFailed = 1,  // of several inputs
    Usage = 2,       // the command line makes no sense
    Damaged = 3,     // an input is damaged or cannot be read
    NotWritten = 4,  // an output could not be written
    Interrupted = 130,
};

inline ExitCode exitCodeOf(ErrorKind kind) {
    switch (kind) {
        case ErrorKind::Request:
            return ExitCode::Usage;
        case ErrorKind::NotWritten:
            return ExitCode::NotWritten;
        case ErrorKind::Cancelled:
            return ExitCode::Interrupted;
        default:
            return ExitCode::Damaged;
    }
}

using scan::countOf;

/// A text that may come from a file, as it may be shown: control characters, C1 ones too, and bytes
/// that are no UTF-8 become "\x1B". A terminal would obey them, and a reader would take a line that a
/// file made up for one of the tool's.
std::string printable(std::string_view text);

/// A line on standard error: "brisko: ...", why something failed. Messages are shown printable.
void complain(const std::string& text);
/// "brisko: warning: ...", for what the user should know although the work goes on.
void warn(const std::string& text);
/// "brisko: note: ...", for what the user may like to know.
void note(const std::string& text);

/// "99.9 %": a share of something, in tenths and never rounded up: all is 100, and nothing else.
std::string percentOf(unsigned long long part, unsigned long long whole);

}  // namespace brisko::tool
