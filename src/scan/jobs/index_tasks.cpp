#include "base/worker_pool.h"
#include "scan/jobs/index_job.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace brisko::scan {
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

/// The progress of all tasks as one, in records. Tasks on several threads report to it.
class SharedProgress {
public:
    SharedProgress(const std::vector<IndexTask>& tasks, const ProgressFunction& function)
        : m_tasks(tasks),
          m_shares(tasks.size()),
          m_progress(function, "index", totalOf(tasks), "records") {}

    /// Throws what the function throws, and ScanError(Cancelled); then again at every further call.
    void reach(std::size_t task, double share, const std::string& stage) {
        const std::lock_guard lock(m_mutex);
        if (m_failure) std::rethrow_exception(m_failure);
        m_shares[task] = share;
        m_progress.setStage(stage);
        double done = 0;
        for (std::size_t i = 0; i < m_tasks.size(); ++i)
            done += weight(m_tasks[i]) * m_shares[i];
        try {
            m_progress.advanceTo(static_cast<std::uint64_t>(std::llround(done)));
        } catch (...) {
            m_failure = std::current_exception();
            throw;
        }
    }

    void require() {
        const std::lock_guard lock(m_mutex);
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    const std::vector<IndexTask>& m_tasks;
    std::mutex m_mutex;
    std::vector<double> m_shares;
    TaskProgress m_progress;
    std::exception_ptr m_failure;  // what ended the work
};

}  // namespace

void runIndexTasks(const std::vector<IndexTask>& tasks, std::size_t jobs,
                   const ProgressFunction& progress, const OutcomeFunction& outcome) {
    SharedProgress shared(tasks, progress);
    const auto run = [&](std::size_t i) {
        if (!tasks[i].isOpen()) return IndexOutcome{};
        return runIndexTask(
            tasks[i], [&](double share, const char* stage) { shared.reach(i, share, stage); });
    };
    collectResults(tasks.size(), jobs, ResultOrder::Completion, run,
                   [&](std::size_t i, const IndexOutcome& result) {
                       const bool isStopped = result.state == IndexOutcome::State::Stopped;
                       if (!tasks[i].isOpen() || isStopped) return;
                       outcome(i, result);
                   });
    shared.require();
}

}  // namespace brisko::scan
