#pragma once

#include "index/index_plan.h"

#include <cstdint>
#include <functional>
#include <string>

namespace brisko::tool {

/// How an input came out.
struct IndexOutcome {
    enum class State { Indexed, Skipped, Failed, Stopped };
    State state = State::Failed;
    ExitCode code = ExitCode::Done;  // of a failure
    std::string text;                // why it failed or was skipped
    std::uint64_t points = 0;
    std::uint32_t columns = 0, rows = 0;
    std::uint64_t bytes = 0;  // of the indexed scan with its index
};

/// How far an input has come, 0 to 1, and what is being done. May throw Interrupted.
using TaskProgress = std::function<void(double share, const std::string& stage)>;

/// Indexes an input, compares what was written with what was read, and then puts it in place. Nothing
/// is thrown.
IndexOutcome runIndexTask(const IndexTask& task, const TaskProgress& progress);

}  // namespace brisko::tool
