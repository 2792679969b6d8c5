#pragma once

#include "index/index_plan.h"

namespace brisko::tool {

/// Whether the output of a task is there, sound, younger than all that it was made from, and shows no
/// sign that it was made from something else: header, number of points, grid and alignment are those
/// of the input. A file that was replaced by an older one is younger in the one time that no program
/// sets, that of its last change.
bool isUpToDate(const IndexTask& task);

/// Whether something else than an older output of the task has the name of its output: another scan,
/// by the instrument and time in its header and by its angles, or no scan.
bool isAnothersFile(const IndexTask& task);

}  // namespace brisko::tool
