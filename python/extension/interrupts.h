#pragma once

#include <pybind11/pybind11.h>

#include <brisko_scan/progress.h>

#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace brisko::python {

/// Lets Ctrl-C and other signals end a long call that runs without Python's lock. Asked as often as is
/// handy; it takes the lock some fifty times a second.
class Interrupts {
public:
    /// Throws what a signal handler of Python raised: KeyboardInterrupt.
    void check();

private:
    std::chrono::steady_clock::time_point m_next = std::chrono::steady_clock::now();
};

/// Waits until `isDone` or until a signal handler of Python raised something, which is thrown. A thread that
/// goes on then is waited for at the end of the process.
void awaitThread(std::thread thread, const std::function<bool()>& isDone);

/// Runs a call that reads and cannot be asked to stop, such as the opening of a scan: where a signal ends the
/// wait for it, the call goes on alone, and nobody hears of its result. It must own what it works on.
/// Without Python's lock; it is called with it.
template <class Call>
auto awaitCall(Call call) {
    auto task = std::make_shared<std::packaged_task<decltype(call())()>>(std::move(call));
    auto result = task->get_future();
    awaitThread(std::thread([task] { (*task)(); }), [&] {
        return result.wait_for(std::chrono::milliseconds(10)) == std::future_status::ready;
    });
    return result.get();
}

/// The progress function of a job for a Python function, or for None. It also lets signals end the job.
///   function  called with (task, stage, unit, done, total, finished); False cancels
/// The job runs without Python's lock. An exception of the function ends the job and is raised after it.
class JobProgress {
public:
    explicit JobProgress(const pybind11::object& function) : m_function(function) {}

    /// Refers to this object.
    scan::ProgressFunction function();

    /// Runs a job, which returns something, without Python's lock.
    template <class Job>
    auto run(const Job& job) {
        try {
            auto result = [&] {
                const pybind11::gil_scoped_release released;
                return job(function());
            }();
            // Nobody asks for the answer to the last report of a job.
            if (m_raised) std::rethrow_exception(m_raised);
            return result;
        } catch (...) {
            if (m_raised) std::rethrow_exception(m_raised);
            throw;
        }
    }

private:
    bool report(const scan::ProgressUpdate& update);

    pybind11::object m_function;
    std::chrono::steady_clock::time_point m_next;
    std::exception_ptr m_raised;
};

}  // namespace brisko::python
