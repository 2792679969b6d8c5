#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace brisko {

/// The first exception of a parallel loop. None may leave a thread.
class FirstFailure {
public:
    bool happened() const { return m_happened; }
    void keep(std::exception_ptr failure) {
        const std::lock_guard lock(m_mutex);
        if (!m_failure) m_failure = std::move(failure);
        m_happened = true;
    }
    void rethrow() const {
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    std::mutex m_mutex;
    std::exception_ptr m_failure;
    std::atomic<bool> m_happened = false;
};

/// Threads that help the calling one. Where the system gives none, the calling thread does it all.
class Helpers {
public:
    template <class Work>
    Helpers(std::size_t count, const Work& work) {
        try {
            m_threads.reserve(count);
            while (m_threads.size() < count)
                m_threads.emplace_back(work);
        } catch (const std::system_error&) {
            return;
        } catch (const std::bad_alloc&) {
            return;
        }
    }
    ~Helpers() {
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Helpers(const Helpers&) = delete;
    Helpers& operator=(const Helpers&) = delete;

private:
    std::vector<std::thread> m_threads;
};

/// Calls body(0) to body(count - 1), spread over the processors. After a failure the calls that have
/// not started are skipped; the first exception is thrown on when all others have ended.
template <class Body>
void parallelFor(std::size_t count, const Body& body) {
    FirstFailure failure;
    std::atomic<std::size_t> next = 0;
    const auto work = [&]() noexcept {
        for (std::size_t i = next++; i < count && !failure.happened(); i = next++) {
            try {
                body(i);
            } catch (...) {
                failure.keep(std::current_exception());
            }
        }
    };
    {
        const std::size_t threads = std::max(1U, std::thread::hardware_concurrency());
        const Helpers helpers(std::min(count, threads) - (count > 0 ? 1 : 0), work);
        work();
    }
    failure.rethrow();
}

}  // namespace brisko
