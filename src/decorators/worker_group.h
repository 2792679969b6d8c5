#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <system_error>
#include <thread>

namespace brisko {

/// A few threads that are always joined. One thread owns the group.
template <std::size_t Count>
class WorkerGroup {
public:
    WorkerGroup() = default;
    ~WorkerGroup() { stopAndJoin(); }
    WorkerGroup(const WorkerGroup&) = delete;
    WorkerGroup& operator=(const WorkerGroup&) = delete;

    /// Runs a job in worker i, which must not be running; in the calling thread where no thread can be
    /// started. What a job throws ends the job and nothing else.
    template <class Job>
    void start(std::size_t i, const Job& job) {
        const auto guarded = [job]() noexcept {
            try {
                job();
            } catch (...) {
                return;
            }
        };
        try {
            m_threads[i] = std::thread(guarded);
        } catch (const std::system_error&) {
            guarded();
        } catch (const std::bad_alloc&) {
            guarded();
        }
    }

    /// For jobs to ask: they need not finish.
    bool isStopping() const { return m_stopping.load(std::memory_order_relaxed); }

    void join() {
        for (std::thread& thread : m_threads) {
            if (thread.joinable()) thread.join();
        }
    }
    void stopAndJoin() {
        m_stopping = true;
        join();
        m_stopping = false;
    }

private:
    std::array<std::thread, Count> m_threads;
    std::atomic<bool> m_stopping = false;
};

}  // namespace brisko
