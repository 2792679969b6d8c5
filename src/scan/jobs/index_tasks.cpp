#include "base/worker_pool.h"
#include "scan/jobs/index_job.h"
#include "scan/jobs/shared_progress.h"
#include "scan/jobs/shared_threads.h"

#include <brisko_codec/conversions.h>
#include <brisko_codec/progress.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace brisko::scan {
namespace {

/// A scan without records has its work to do as well.
double weight(const IndexTask& task) {
    return task.isOpen() ? static_cast<double>(std::max<std::uint64_t>(task.records, 1)) : 0;
}

std::vector<double> weightsOf(const std::vector<IndexTask>& tasks) {
    std::vector<double> weights(tasks.size());
    std::transform(tasks.begin(), tasks.end(), weights.begin(), weight);
    return weights;
}

}  // namespace

void runIndexTasks(const std::vector<IndexTask>& tasks, std::size_t jobs,
                   const ProgressFunction& progress, const OutcomeFunction& outcome) {
    SharedProgress shared(progress, "index", weightsOf(tasks), "records");
    const unsigned threads = threadsOfEach(jobs, tasks.size());
    const auto run = [&](std::size_t i) {
        const JobThreadLimit limit(threads);
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

namespace {

/// Follows the conversion's one stage. A monitor is asked only once in a per cent, which may take long,
/// so a thread asks in between whether to go on.
class Watch : public vexo::ProgressMonitor {
public:
    Watch(vexo::ProgressTracker& tracker, const std::function<void(double)>& reach)
        : m_tracker(tracker),
          m_reach(reach),
          m_thread([this](const std::stop_token& stop) { watch(stop); }) {
        m_tracker.addMonitor(this);
    }

    void onStart(const std::string&) override {}
    void onFinish() override {}
    vexo::ProgressRequest onUpdate(const std::string&, float percentage, bool, bool) override {
        ask(percentage >= 0 ? static_cast<double>(percentage) / 100 : -1);
        return m_ended ? vexo::ProgressRequest::Cancel : vexo::ProgressRequest::Continue;
    }

    /// Ends the thread. Throws what `reach` threw.
    void finish() {
        m_thread.request_stop();
        m_thread.join();
        if (m_ended) std::rethrow_exception(m_ended);
    }

private:
    void ask(double share) {
        const std::lock_guard lock(m_mutex);
        if (m_ended) return;
        m_share = std::max(m_share, share);
        try {
            m_reach(m_share);
        } catch (...) {
            m_ended = std::current_exception();
        }
    }

    void watch(const std::stop_token& stop) {
        constexpr std::chrono::milliseconds kPause(20);
        std::mutex mutex;
        std::condition_variable_any wake;
        std::unique_lock lock(mutex);
        while (!stop.stop_requested() && !hasEnded()) {
            wake.wait_for(lock, stop, kPause, [] { return false; });
            if (!stop.stop_requested()) ask(0);
        }
        if (hasEnded()) m_tracker.requestCancel();
    }

    bool hasEnded() {
        const std::lock_guard lock(m_mutex);
        return m_ended != nullptr;
    }

    vexo::ProgressTracker& m_tracker;
    const std::function<void(double)>& m_reach;
    std::mutex m_mutex;
    double m_share = 0;
    std::exception_ptr m_ended;  // what `reach` threw
    std::jthread m_thread;       // the last member: it stops before the others go
};

}  // namespace

void indexByAngles(const IndexTask& task, const std::string& output,
                   const std::function<void(double share)>& reach) {
    vexo::ProgressTracker tracker;
    Watch watch(tracker, reach);
    bool done = false;
    try {
        done = indexCL3ByAngles(task.input, output, &tracker);
    } catch (const vexo::CancelProgressRequest&) {
        // finish() throws the reason.
    }
    watch.finish();
    if (done) return;
    throw ScanError(
        ErrorKind::Damaged, task.input,
        "the angles and steps of its header make no grid for its points, or there is no "
        "room for " +
            task.output);
}

}  // namespace brisko::scan
