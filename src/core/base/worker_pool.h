#pragma once

#include "base/processors.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

/// The one way to work on several threads. Where the system gives fewer threads than were asked for, the
/// others do their share; where it gives none, the calling thread does all of it.
namespace brisko {

/// Does jobs 0, 1, 2 ... of a range on threads of its own, each job once. One thread owns the pool. The
/// threads live from start() to wait() or stop(), so that nothing of a job runs while the pool is idle.
class WorkerPool {
public:
    /// threads: the most that help the calling thread
    explicit WorkerPool(std::size_t threads) : m_wanted(threads) {}
    ~WorkerPool() { stop(); }
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Begins job(0) to job(count - 1) and returns; the pool must be idle. Jobs start in this order.
    void start(std::size_t count, std::function<void(std::size_t)> job);
    /// Does the next job in the calling thread. False when all have been started.
    bool help();
    /// How many threads help. 0: only help() and wait() do any work.
    std::size_t helpers() const { return m_threads.size(); }

    /// Helps until all jobs are done. Once a job has thrown no further one starts; its exception, the
    /// first of several, comes out of here.
    void wait();
    /// Waits so long at most for all jobs to end, or does one where there are no threads. Returns whether
    /// they have; wait() must still be called.
    bool waitFor(std::chrono::milliseconds time);
    /// Starts no further job, waits for those that run, and forgets what they threw.
    void stop() noexcept;
    /// For long jobs to ask: they need not finish.
    bool isStopping() const { return m_stopping; }

private:
    void run() noexcept;
    bool takeNext() noexcept;
    void join() noexcept;

    std::size_t m_wanted;
    std::function<void(std::size_t)> m_job;
    std::size_t m_count = 0;
    std::atomic<std::size_t> m_next = 0;
    std::atomic<bool> m_stopping = false;
    std::mutex m_mutex;  // of the next two
    std::exception_ptr m_failure;
    std::size_t m_threadsEnded = 0;
    std::condition_variable m_ended;
    std::vector<std::thread> m_threads;
};

/// Calls job(0) to job(count - 1) on that many threads at most, the calling one included, and returns
/// when all are done. Throws the first exception of a job, after the others that ran have ended.
template <class Job>
void forEachIndex(std::size_t count, const Job& job, std::size_t threads = processorCount()) {
    if (count == 0) return;
    WorkerPool pool(std::min(count, std::max<std::size_t>(threads, 1)) - 1);
    pool.start(count, std::cref(job));
    pool.wait();
}

/// Asked whether work is still wanted; an empty one means that it is.
using GoesOn = std::function<bool()>;

/// How work ends that is not wanted any more.
class WorkStopped : public std::exception {};

/// Calls job(i, isWanted) for i = 0 to count - 1 as forEachIndex does, asking goesOn() on the calling thread,
/// which does no jobs then, every 20 ms. Where it answers false, no further job starts, and jobs that ask
/// isWanted() hear of it; throws WorkStopped after those that run have ended.
template <class Job>
void forEachIndexWhile(const GoesOn& goesOn, std::size_t count, const Job& job,
                       std::size_t threads = processorCount()) {
    if (!goesOn)
        return forEachIndex(
            count, [&](std::size_t i) { job(i, goesOn); }, threads);
    const WorkerPool* running = nullptr;
    const GoesOn isWanted = [&running] { return !running->isStopping(); };
    // Goes before what its jobs ask until they end.
    WorkerPool pool(std::min(count, std::max<std::size_t>(threads, 1)));
    running = &pool;
    pool.start(count, [&](std::size_t i) { job(i, isWanted); });
    do {
        if (!goesOn()) throw WorkStopped();
    } while (!pool.waitFor(std::chrono::milliseconds(20)));
    pool.wait();
}

/// The order in which results are taken.
enum class ResultOrder { Completion, Index };

/// Computes Result job(i) for i = 0 ... count - 1 on that many threads, and calls take(i, Result&) for
/// each on the calling thread. At most `threads` + 1 results are kept at a time. The first exception of
/// a job or of take() ends the work and comes out, after the jobs that run have ended.
template <class Job, class Take>
void collectResults(std::size_t count, std::size_t threads, ResultOrder order, const Job& job,
                    const Take& take) {
    using Result = std::invoke_result_t<const Job&, std::size_t>;
    struct Board {
        std::mutex mutex;
        std::condition_variable changed;
        std::map<std::size_t, Result> done;
        std::size_t taken = 0;
        bool isClosed = false;  // nobody takes results any more
        std::exception_ptr failure;
    } board;
    const std::size_t most = std::max<std::size_t>(threads, 1) + 1;
    const auto compute = [&](std::size_t i) {
        {
            std::unique_lock lock(board.mutex);
            board.changed.wait(lock, [&] { return i < board.taken + most || board.isClosed; });
            if (board.isClosed) return;
        }
        try {
            Result result = job(i);
            const std::lock_guard lock(board.mutex);
            board.done.emplace(i, std::move(result));
        } catch (...) {
            const std::lock_guard lock(board.mutex);
            if (!board.failure) board.failure = std::current_exception();
        }
        board.changed.notify_all();
    };
    WorkerPool pool(std::min(count, std::max<std::size_t>(threads, 1)));
    struct Closer {  // goes before the pool: jobs that wait for a place must not wait for ever
        Board& board;
        ~Closer() {
            {
                const std::lock_guard lock(board.mutex);
                board.isClosed = true;
            }
            board.changed.notify_all();
        }
    } const closer{board};
    pool.start(count, std::cref(compute));
    for (std::size_t number = 0; number < count; ++number) {
        if (pool.helpers() == 0) pool.help();
        std::unique_lock lock(board.mutex);
        const auto ready = [&] {
            return order == ResultOrder::Index ? board.done.find(number) : board.done.begin();
        };
        board.changed.wait(lock, [&] { return board.failure || ready() != board.done.end(); });
        if (board.failure) std::rethrow_exception(board.failure);
        auto result = board.done.extract(ready());
        lock.unlock();
        take(result.key(), result.mapped());
        lock.lock();
        ++board.taken;
        board.changed.notify_all();
    }
}

}  // namespace brisko
