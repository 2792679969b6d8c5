#include "index/job.h"

#include "common/exit_code.h"

#include <algorithm>
#include <cmath>

namespace brisko::tool {
namespace {

/// A scan without records has its work to do as well.
double weight(const IndexTask& task) {
    return task.isOpen() ? static_cast<double>(std::max<std::uint64_t>(task.records, 1)) : 0;
}

std::uint64_t totalOf(const std::vector<IndexTask>& tasks) {
    double sum = 0;
    for (const IndexTask& task : tasks)
        sum += weight(task);
    return static_cast<std::uint64_t>(sum);
}

}  // namespace

JobProgress::JobProgress(ProgressStyle style, const std::vector<IndexTask>& tasks)
    : m_tasks(tasks),
      m_shares(tasks.size()),
      m_display(style),
      m_function(m_display.function()),
      m_progress(m_function, "index", totalOf(tasks), "records") {
}

void JobProgress::reach(std::size_t task, double share, const std::string& stage) {
    m_shares[task] = share;
    m_progress.setStage(stage);
    refresh();
}

void JobProgress::refresh() {
    double done = 0;
    for (std::size_t i = 0; i < m_tasks.size(); ++i)
        done += weight(m_tasks[i]) * m_shares[i];
    m_progress.advanceTo(static_cast<std::uint64_t>(std::llround(done)));
}

void runHere(const std::vector<IndexTask>& tasks, JobProgress& progress, const OutcomeSink& sink) {
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        throwIfInterrupted();
        if (!tasks[i].isOpen()) continue;
        const auto reach = [&](double share, const std::string& stage) {
            if (isInterrupted()) return false;
            progress.reach(i, share, stage);
            return true;
        };
        const IndexOutcome outcome = scan::runIndexTask(tasks[i], reach);
        if (outcome.state == IndexOutcome::State::Stopped)
            throw ScanError(ErrorKind::Cancelled, {}, "cancelled");
        sink(i, outcome);
        progress.reach(i, 1, "");
    }
}

}  // namespace brisko::tool
