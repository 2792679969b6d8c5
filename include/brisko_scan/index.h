#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_error.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace brisko::scan {

/// Where the cells of the points come from.
enum class IndexRoute {
    RawScan,   // a CLR scan, or a series of them: the grid itself
    Again,     // a CL3 scan with an index: that index
    ByAngles,  // a CL3 scan without one: the angles of its points
};

/// A native scan to be indexed, and what is to be done with it.
struct IndexTask {
    std::string input;
    IndexRoute route = IndexRoute::RawScan;
    std::string output;                // NAME_index.cl3, beside the input
    std::vector<std::string> members;  // of the series that the input starts, without the input
    std::uint64_t records = 0;         // of all files read
    bool force = false;                // also when the output is up to date

    /// Why there is nothing to do, or why it cannot be done. Empty where there is and it can.
    std::string skipped;
    std::string problem;
    ErrorKind problemKind = ErrorKind::Damaged;

    bool isOpen() const { return skipped.empty() && problem.empty(); }
};

/// Looks at the inputs, in their order. Members of a series, sorted copies beside a scan, inputs that
/// are named twice, and scans that become the same output as another input are passed over, and what
/// is indexed already, unless forced. Damage that shows without reading points is a problem at once.
///   overwrite  outputs may replace other scans
/// Throws ScanError(Request) for a name that is not a native scan's.
BRISKO_SCAN_EXPORT std::vector<IndexTask> planIndexing(const std::vector<std::string>& inputs,
                                                       bool force, bool overwrite);

/// How an input came out.
struct IndexOutcome {
    enum class State { Indexed, Skipped, Failed, Stopped };
    State state = State::Failed;
    ErrorKind kind = ErrorKind::Damaged;  // of a failure
    std::string text;                     // why it failed or was skipped
    std::uint64_t points = 0;
    std::uint32_t columns = 0, rows = 0;
    std::uint64_t bytes = 0;  // of the indexed scan with its index
};

/// Hears of each task's outcome as it comes, on the calling thread. Stopped tasks have none to hear of.
using OutcomeFunction = std::function<void(std::size_t task, const IndexOutcome&)>;

/// Runs the open tasks, so many at a time, and passes over the others. Each input is indexed, the output
/// compared with what was read, and then put in place; a task waits while another process indexes the same
/// input. One that fails stops no other.
///   jobs  at least 1
/// Throws ScanError(Cancelled) where `progress` answers false, when all that was running has stopped; and
/// what `outcome` throws.
BRISKO_SCAN_EXPORT void runIndexTasks(const std::vector<IndexTask>& tasks, std::size_t jobs,
                                      const ProgressFunction& progress,
                                      const OutcomeFunction& outcome);

}  // namespace brisko::scan
