#pragma once

#include "common/failure.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// Where the cells of the points come from.
enum class IndexRoute {
    RawScan,   // a CLR scan, or a series of them: the grid itself
    Again,     // a CL3 scan with an index: that index
    ByAngles,  // a CL3 scan without one: the angles of its points
};

/// One input of `brisko index` and what is to be done with it.
struct IndexTask {
    std::string input;
    IndexRoute route = IndexRoute::RawScan;
    std::string output;                // the indexed scan that it becomes
    std::vector<std::string> members;  // of the series that the input starts, without the input
    std::uint64_t records = 0;         // of all files read
    bool force = false;                // also when the output is up to date

    /// Why there is nothing to do, or why it cannot be done. Empty where there is and it can.
    std::string skipped;
    std::string problem;
    ExitCode problemCode = ExitCode::Damaged;

    bool isOpen() const { return skipped.empty() && problem.empty(); }
};

/// Looks at the inputs, in their order. Members of a series, sorted copies beside a scan, inputs that
/// are named twice, and scans that become the same output as another input are passed over, and what
/// is indexed already, unless forced. Damage that shows without reading points is a problem at once.
///   overwrite  outputs may replace other scans
/// Throws Failure(Usage) for a name that is not a native scan's.
std::vector<IndexTask> planIndexing(const std::vector<std::string>& inputs, bool force,
                                    bool overwrite);

/// What to say of a task whose output is up to date.
std::string upToDateText(const IndexTask& task);

}  // namespace brisko::tool
