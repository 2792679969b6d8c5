#include "index/job.h"
#include "index/worker.h"

#include <poll.h>

#include <list>

namespace brisko::tool {
namespace {

/// Keeps so many workers busy until no task is left.
class Workers {
public:
    Workers(const std::vector<IndexTask>& tasks, unsigned jobs, JobProgress& progress,
            const OutcomeSink& sink)
        : m_tasks(tasks), m_jobs(jobs), m_progress(progress), m_sink(sink) {}

    void run() {
        for (startSome(); !m_workers.empty(); startSome()) {
            waitForWord();
            stopWhenAsked();
        }
        throwIfInterrupted();
    }

private:
    void startSome() {
        while (m_workers.size() < m_jobs && m_next < m_tasks.size() && !isInterrupted()) {
            const std::size_t number = m_next++;
            if (m_tasks[number].isOpen()) start(number);
        }
    }

    void start(std::size_t number) {
        try {
            m_workers.emplace_back(number, m_tasks[number]);
        } catch (const ScanError& error) {
            IndexOutcome outcome;
            outcome.kind = error.kind();
            outcome.text = error.what();
            m_sink(number, outcome);
        }
    }

    void waitForWord() {
        constexpr int kPause = 50;  // milliseconds; Ctrl-C is looked for in between
        std::vector<pollfd> pipes;
        for (const Worker& worker : m_workers)
            pipes.push_back({worker.pipe(), POLLIN, 0});
        if (poll(pipes.data(), pipes.size(), kPause) <= 0) return;
        std::size_t i = 0;
        for (auto worker = m_workers.begin(); worker != m_workers.end(); ++i) {
            if (pipes[i].revents != 0) listen(*worker);
            worker = worker->isOver() ? m_workers.erase(worker) : std::next(worker);
        }
    }

    void listen(Worker& worker) {
        const std::size_t number = worker.number();
        for (const WorkerMessage& message : worker.receive()) {
            if (message.outcome) {
                m_told[number] = true;
                if (message.outcome->state != IndexOutcome::State::Stopped) {
                    m_sink(number, *message.outcome);
                }
            }
            show(number, message);
        }
        if (!worker.isOver()) return;
        const std::string end = worker.wait();
        if (m_told[number] || isInterrupted()) return;
        IndexOutcome outcome;
        outcome.text = m_tasks[number].input + ": the process that indexed it " + end;
        m_sink(number, outcome);
    }

    void show(std::size_t number, const WorkerMessage& message) {
        try {
            m_progress.reach(number, message.share, message.stage);
        } catch (const ScanError&) {
            // Dealt with by stopWhenAsked, once for all.
        }
    }

    /// Each worker hears of it once: a second time would kill it.
    void stopWhenAsked() {
        if (!isInterrupted() || m_stopped) return;
        m_stopped = true;
        for (const Worker& worker : m_workers)
            worker.stop();
    }

    const std::vector<IndexTask>& m_tasks;
    unsigned m_jobs;
    JobProgress& m_progress;
    const OutcomeSink& m_sink;
    std::list<Worker> m_workers;
    std::vector<bool> m_told = std::vector<bool>(m_tasks.size());
    std::size_t m_next = 0;
    bool m_stopped = false;
};

}  // namespace

void runInProcesses(const std::vector<IndexTask>& tasks, unsigned jobs, JobProgress& progress,
                    const OutcomeSink& sink) {
    Workers(tasks, jobs, progress, sink).run();
}

}  // namespace brisko::tool
