#pragma once

#include <brisko_scan/index.h>
#include "common/progress.h"

#include <functional>
#include <string>
#include <vector>

namespace brisko::tool {

using scan::IndexOutcome;
using scan::IndexTask;

/// The progress of all tasks as one, in records.
class JobProgress {
public:
    JobProgress(ProgressStyle style, const std::vector<IndexTask>& tasks);

    /// Throws ScanError(Cancelled) after Ctrl-C.
    void reach(std::size_t task, double share, const std::string& stage);
    /// The same without a word of the stage: also looks for Ctrl-C.
    void refresh();

private:
    const std::vector<IndexTask>& m_tasks;
    std::vector<double> m_shares;
    ProgressDisplay m_display;
    scan::ProgressFunction m_function;
    scan::TaskProgress m_progress;
};

/// Receives the outcome of each task as it comes.
using OutcomeSink = std::function<void(std::size_t task, const IndexOutcome&)>;

// Both run the open tasks and pass over the others. They throw ScanError(Cancelled) after Ctrl-C, when all
// that was running has stopped.
void runHere(const std::vector<IndexTask>& tasks, JobProgress& progress, const OutcomeSink& sink);
/// As many tasks at a time, each in a process of its own: one that dies takes no other with it.
void runInProcesses(const std::vector<IndexTask>& tasks, unsigned jobs, JobProgress& progress,
                    const OutcomeSink& sink);

}  // namespace brisko::tool
