#pragma once

#include <brisko_scan/progress.h>

#include <cmath>
#include <cstddef>
#include <exception>
#include <mutex>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace brisko::scan {

/// The progress of several tasks as one. Tasks on several threads report to it.
class SharedProgress {
public:
    /// weights: how many units of work each task is
    SharedProgress(const ProgressFunction& function, const std::string& name,
                   std::vector<double> weights, const std::string& unit)
        : m_weights(std::move(weights)),
          m_shares(m_weights.size()),
          m_progress(
              function, name,
              static_cast<std::uint64_t>(std::accumulate(m_weights.begin(), m_weights.end(), 0.0)),
              unit) {}

    /// How much of a task is done, of 1. Throws what the function throws, and ScanError(Cancelled); then
    /// again at every further call.
    void reach(std::size_t task, double share, const std::string& stage) {
        const std::lock_guard lock(m_mutex);
        if (m_failure) std::rethrow_exception(m_failure);
        m_shares[task] = share;
        m_progress.setStage(stage);
        const double done =
            std::inner_product(m_weights.begin(), m_weights.end(), m_shares.begin(), 0.0);
        try {
            m_progress.advanceTo(static_cast<std::uint64_t>(std::llround(done)));
        } catch (...) {
            m_failure = std::current_exception();
            throw;
        }
    }

    /// Throws what ended the work, if anything did.
    void require() {
        const std::lock_guard lock(m_mutex);
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    std::mutex m_mutex;
    std::vector<double> m_weights;
    std::vector<double> m_shares;
    TaskProgress m_progress;
    std::exception_ptr m_failure;  // what ended the work
};

}  // namespace brisko::scan
