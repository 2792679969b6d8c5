#pragma once

#include "index/index_task.h"

namespace brisko::tool {

/// Reads the scan that was indexed and what it became. Every point must be there with all its
/// numbers and, unless cells come from angles, in its own cell; blocks, tiles and entries must agree;
/// the alignment must be the same.
///   share  how much of the task is done before
/// Throws Failure(NotWritten) when that is not so, Interrupted after Ctrl-C.
IndexOutcome checkIndexed(const IndexTask& task, double share, const TaskProgress& progress);

}  // namespace brisko::tool
