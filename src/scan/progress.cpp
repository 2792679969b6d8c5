#include <brisko_scan/progress.h>

#include <brisko_scan/scan_error.h>

#include <exception>

namespace brisko::scan {
namespace {

[[noreturn]] void failCancelled() {
    throw ScanError(ErrorKind::Cancelled, {}, "cancelled");
}

}  // namespace

TaskProgress::TaskProgress(const ProgressFunction& function, const std::string& task,
                           std::uint64_t total, const std::string& unit)
    : m_function(function), m_exceptions(std::uncaught_exceptions()) {
    m_update.task = task;
    m_update.unit = unit;
    m_update.total = total;
    advanceTo(0);
}

TaskProgress::~TaskProgress() {
    if (!m_function || std::uncaught_exceptions() > m_exceptions) return;
    m_update.isFinished = true;
    try {
        m_function(m_update);
    } catch (...) {
        // The task is done; what the function has to say comes with the next one.
    }
}

void TaskProgress::advanceTo(std::uint64_t done) {
    m_update.done = done;
    if (m_function && !m_function(m_update)) failCancelled();
}

void requireGoingOn(const ProgressFunction& function) {
    if (function && !function({})) failCancelled();
}

}  // namespace brisko::scan
