#pragma once

#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// One of several conversions.
struct ConvertTask {
    std::string input;
    std::string scan;  // which one of an input with several; empty: the only one
    /// NAME.FORMAT in the folder of the outputs, or NAME_2.FORMAT of a second scan.
    std::string output;
    /// Why it cannot be done; nothing where it can.
    std::optional<ScanError> problem;
};

/// What is to become of the inputs: files, folders (all scans that lie directly in them, by name), or
/// patterns with * and ? where no file has that name. An input that cannot be looked at, and one whose output
/// is another input's as well, is a task with a problem.
///   folder  of the outputs; it must be there
///   format  of the outputs: an extension with or without its dot
///   scan    which one of inputs with several: a number, a name, or "all"; empty: they must have one
/// Throws ScanError(Request) for a format that is not written, a folder that is none, and where there is
/// no input at all.
BRISKO_SCAN_EXPORT std::vector<ConvertTask> planConversions(const std::vector<std::string>& inputs,
                                                            const std::string& folder,
                                                            const std::string& format,
                                                            const std::string& scan);

/// How a conversion came out.
struct ConvertOutcome {
    ConvertResult result;
    std::optional<ScanError> error;  // why it failed; nothing where it is done
};

/// Hears of each outcome as it comes, on the calling thread.
using ConvertOutcomeFunction = std::function<void(std::size_t task, const ConvertOutcome& outcome)>;

/// Runs conversions, so many at a time. One that fails stops no other.
///   common    for all of them; its input, output and scan do not count. Its functions are called by one
///             thread at a time, any of those that work.
///   jobs      at least 1
/// Throws ScanError(Cancelled) where the progress function answers false, when all that was running has
/// stopped; what was done by then stays.
BRISKO_SCAN_EXPORT void convertAll(const std::vector<ConvertTask>& tasks,
                                   const ConvertOptions& common, std::size_t jobs,
                                   const ConvertOutcomeFunction& outcome);

}  // namespace brisko::scan
