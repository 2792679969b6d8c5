#include "interrupts.h"

#include <memory>
#include <utility>

namespace brisko::python {
namespace {

namespace py = pybind11;

constexpr std::chrono::milliseconds kBetween{20};

/// With Python's lock.
void raiseOfSignals() {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace

void Interrupts::check() {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next) return;
    m_next = now + kBetween;
    const py::gil_scoped_acquire acquired;
    raiseOfSignals();
}

void awaitThread(std::thread thread, const std::function<bool()>& isDone) {
    {
        const py::gil_scoped_release released;
        while (!isDone()) {
            const py::gil_scoped_acquire acquired;
            if (PyErr_CheckSignals() == 0) continue;
            // Before the libraries that it works in are unloaded.
            const auto left = std::make_shared<std::thread>(std::move(thread));
            const py::error_already_set raised;
            py::module_::import("atexit").attr("register")(py::cpp_function([left] {
                const py::gil_scoped_release waiting;
                if (left->joinable()) left->join();
            }));
            throw raised;
        }
    }
    thread.join();
}

scan::ProgressFunction JobProgress::function() {
    return [this](const scan::ProgressUpdate& update) { return report(update); };
}

/// An exception does not pass through the library, which may be at work on several threads: it is kept.
bool JobProgress::report(const scan::ProgressUpdate& update) {
    if (m_raised) return false;
    const auto now = std::chrono::steady_clock::now();
    const bool isMilestone = update.isFinished || (!update.task.empty() && update.done == 0);
    if (now < m_next && !isMilestone) return true;
    m_next = now + kBetween;
    const py::gil_scoped_acquire acquired;
    try {
        raiseOfSignals();
        if (m_function.is_none() || update.task.empty()) return true;
        const py::object answer = m_function(update.task, update.stage, update.unit, update.done,
                                             update.total, update.isFinished);
        return !answer.is(py::bool_(false));
    } catch (...) {
        m_raised = std::current_exception();
        return false;
    }
}

}  // namespace brisko::python
