#include "base/worker_pool.h"

#include <new>
#include <system_error>

namespace brisko {

void WorkerPool::start(std::size_t count, std::function<void(std::size_t)> job) {
    m_job = std::move(job);
    m_count = count;
    m_next = 0;
    m_threadsEnded = 0;
    m_failure = nullptr;
    try {
        m_threads.reserve(m_wanted);
        while (m_threads.size() < std::min(m_wanted, count)) {
            m_threads.emplace_back([this] { run(); });
        }
    } catch (const std::system_error&) {
        return;
    } catch (const std::bad_alloc&) {
        return;
    }
}

/// Of a thread.
void WorkerPool::run() noexcept {
    while (takeNext()) {
    }
    const std::lock_guard lock(m_mutex);
    ++m_threadsEnded;
    m_ended.notify_all();
}

bool WorkerPool::waitFor(std::chrono::milliseconds time) {
    if (m_threads.empty()) return !help();
    std::unique_lock lock(m_mutex);
    return m_ended.wait_for(lock, time, [this] { return m_threadsEnded == m_threads.size(); });
}

bool WorkerPool::help() {
    return takeNext();
}

/// An exception must not leave a thread.
bool WorkerPool::takeNext() noexcept {
    if (m_stopping) return false;
    const std::size_t number = m_next++;
    if (number >= m_count) return false;
    try {
        m_job(number);
    } catch (...) {
        const std::lock_guard lock(m_mutex);
        if (!m_failure) m_failure = std::current_exception();
        m_next = m_count;
    }
    return true;
}

void WorkerPool::join() noexcept {
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
    m_next = m_count;
}

void WorkerPool::wait() {
    while (help()) {
    }
    join();
    if (const std::exception_ptr failure = std::exchange(m_failure, nullptr)) {
        std::rethrow_exception(failure);
    }
}

void WorkerPool::stop() noexcept {
    m_stopping = true;
    join();
    m_failure = nullptr;
    m_stopping = false;
}

}  // namespace brisko
