#pragma once

#include <brisko_scan/scan_error.h>

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

}  // namespace brisko::tool
