#pragma once

#include "common/failure.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::tool {

/// What the library is asked for.
enum class IndexRoute {
    RawScan,   // a CLR scan or a series of them
    Again,     // a CL3 scan with an index
    ByAngles,  // a CL3 scan without one
};

/// One input of `brisko index` and what is to be done with it.
struct IndexTask {
    std::string input;
    IndexRoute route = IndexRoute::RawScan;
    std::string output;                // the indexed scan that it becomes
    std::vector<std::string> members;  // of the series that the input starts, without the input
    std::string merged;                // the scan that a series is merged to; else the input
    std::uint64_t records = 0;         // of all files read
    unsigned stages = 1;               // that the library takes, roughly

    /// Why there is nothing to do, or why it cannot be done. Empty where there is and it can.
    std::string skipped;
    std::string problem;
    ExitCode problemCode = ExitCode::Damaged;

    bool isOpen() const { return skipped.empty() && problem.empty(); }
};

/// Looks at the inputs, in their order. Members of a series, copies that indexing leaves beside a
/// scan, and scans that become the same output as another input are passed over, and what is indexed
/// already, unless forced. Damaged inputs are told from sound ones here: the library would make
/// something of them.
/// Throws Failure(Usage) for a name that is not a native scan's.
std::vector<IndexTask> planIndexing(const std::vector<std::string>& inputs, bool force);

}  // namespace brisko::tool
