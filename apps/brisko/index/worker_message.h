#pragma once

#include "common/exit_code.h"

#include <brisko_scan/index.h>

#include <optional>
#include <string>

namespace brisko::tool {

using scan::IndexOutcome;
using scan::IndexTask;

/// What a worker process tells its parent, one line each: how far it has come, and at last how the
/// task came out.
struct WorkerMessage {
    double share = 0;
    std::string stage;
    std::optional<IndexOutcome> outcome;
};

/// A line with its end.
std::string encodeMessage(const WorkerMessage& message);
/// Nothing for a line that is none.
std::optional<WorkerMessage> decodeMessage(const std::string& line);

}  // namespace brisko::tool
