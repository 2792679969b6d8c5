#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>

namespace brisko {

/// The first exception of a parallel loop. None may leave the loop itself.
class FirstFailure {
public:
    bool happened() {
        const std::lock_guard lock(m_mutex);
        return m_failure != nullptr;
    }
    void keep(std::exception_ptr failure) {
        const std::lock_guard lock(m_mutex);
        if (!m_failure) m_failure = std::move(failure);
    }
    void rethrow() const {
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    std::mutex m_mutex;
    std::exception_ptr m_failure;
};

/// Calls body(0) to body(count - 1), spread over the processors. After a failure the calls that have
/// not started are skipped; the first exception is thrown on when all others have ended.
template <class Body>
void parallelFor(std::size_t count, const Body& body) {
    FirstFailure failure;
    const auto end = static_cast<std::int64_t>(count);
#ifdef _OPENMP
#pragma omp parallel for schedule(dynamic)
#endif
    for (std::int64_t i = 0; i < end; ++i) {
        if (failure.happened()) continue;
        try {
            body(static_cast<std::size_t>(i));
        } catch (...) {
            failure.keep(std::current_exception());
        }
    }
    failure.rethrow();
}

}  // namespace brisko
