#include <brisko_codec/progress.h>

#include "vexo_progress/pcp_progress.h"
#include "vexo_progress/progress_implementation.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

#include <algorithm>
#include <atomic>
#include <deque>
#include <set>
#include <thread>

namespace brisko::vexo {

// Defined here, the two classes that hosts derive from or catch have their type information in the
// library alone.
ProgressMonitor::~ProgressMonitor() = default;

CancelProgressRequest::CancelProgressRequest() : std::runtime_error(progress_text::kCancel) {
}
CancelProgressRequest::~CancelProgressRequest() = default;

namespace {

/// One update on its way through the monitors.
struct ProgressInfo {
    const std::string& name;
    float percentage = 0;
    bool pausable = false;
    bool cancellable = false;
    ProgressRequest request = ProgressRequest::Continue;
};

[[noreturn]] void cancel() {
    boost::throw_exception(CancelProgressRequest(), BOOST_CURRENT_LOCATION);
}

void validateMonitor(const ProgressMonitor* monitor) {
    if (!monitor) {
        raise<std::invalid_argument>(progress_text::kInvalidMonitor, BOOST_CURRENT_LOCATION);
    }
}

}  // namespace

class ProgressTracker::Implementation {
public:
    void addMonitor(ProgressMonitor* monitor);
    void removeMonitor(ProgressMonitor* monitor);
    void resume();
    void requestCancel();
    void clearCancel();
    std::string nameOfLastStarted();

    void start(const Progress* progress);
    void update(const Progress* progress);
    void finish(const Progress* progress);
    void checkCancel(const Progress* progress);
    std::uint64_t monitorErrors() const { return m_monitorErrors; }

private:
    class Lock;
    using Requests = boost::unique_lock<boost::mutex>;  // while m_requestMutex is held

    void validateTopmost(const Progress* progress) const;
    void validateCaller() const;
    template <class Call>
    auto call(ProgressMonitor* monitor, const Call& operation) -> decltype(operation());
    void askMonitors(ProgressInfo& info);
    void followRequest(bool cancellable);
    std::uint64_t resumesSoFar();
    void pause(Lock& lock, std::uint64_t resumesBefore, bool cancellable);

    std::deque<const Progress*> m_stack;    // back: topmost
    std::set<ProgressMonitor*> m_monitors;  // called in this order
    std::string m_currentName;
    std::uint64_t m_monitorErrors = 0;
    boost::mutex m_mutex;                     // guards the above, also while monitors are called
    std::atomic<std::thread::id> m_holder{};  // the thread that holds it

    // What hosts ask for from outside has a mutex of its own, which is never held for long.
    std::uint64_t m_resumes = 0;
    std::atomic<bool> m_cancelRequested = false;
    boost::condition_variable m_requested;
    boost::mutex m_requestMutex;
};

/// The mutex for a scope. Knows the thread that holds it, so that a monitor that calls back gets an
/// error and not a dead end.
class ProgressTracker::Implementation::Lock {
public:
    explicit Lock(Implementation& owner)
        : m_owner(owner), m_lock(owner.m_mutex, boost::defer_lock) {
        m_owner.validateCaller();
        m_lock.lock();
        m_owner.m_holder = std::this_thread::get_id();
    }
    ~Lock() { m_owner.m_holder = std::thread::id(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Runs what may take long without the mutex.
    template <class Wait>
    void without(const Wait& wait) {
        m_owner.m_holder = std::thread::id();
        m_lock.unlock();
        try {
            wait();
        } catch (...) {
            takeAgain();
            throw;
        }
        takeAgain();
    }

private:
    void takeAgain() {
        m_lock.lock();
        m_owner.m_holder = std::this_thread::get_id();
    }

    Implementation& m_owner;
    boost::unique_lock<boost::mutex> m_lock;
};

void ProgressTracker::Implementation::addMonitor(ProgressMonitor* monitor) {
    validateMonitor(monitor);
    const Lock lock(*this);
    m_monitors.insert(monitor);
}

void ProgressTracker::Implementation::removeMonitor(ProgressMonitor* monitor) {
    const Lock lock(*this);
    m_monitors.erase(monitor);
}

/// Refuses calls by a monitor, on the thread that is calling it.
void ProgressTracker::Implementation::validateCaller() const {
    if (m_holder == std::this_thread::get_id()) {
        raise<std::logic_error>(progress_text::kCalledByMonitor, BOOST_CURRENT_LOCATION);
    }
}

void ProgressTracker::Implementation::resume() {
    validateCaller();
    const Requests requests(m_requestMutex);
    ++m_resumes;
    m_requested.notify_all();
}

void ProgressTracker::Implementation::requestCancel() {
    validateCaller();
    const Requests requests(m_requestMutex);
    m_cancelRequested = true;
    m_requested.notify_all();
}

void ProgressTracker::Implementation::clearCancel() {
    validateCaller();
    m_cancelRequested = false;
}

std::string ProgressTracker::Implementation::nameOfLastStarted() {
    const Lock lock(*this);
    return m_currentName;
}

void ProgressTracker::Implementation::start(const Progress* progress) {
    if (!progress) {
        raise<std::invalid_argument>(progress_text::kInvalidProgress, BOOST_CURRENT_LOCATION);
    }
    const Lock lock(*this);
    m_stack.push_back(progress);
    for (ProgressMonitor* const monitor : m_monitors) {
        call(monitor, [&] { monitor->onStart(progress->name()); });
    }
    m_currentName = progress->name();
}

void ProgressTracker::Implementation::update(const Progress* progress) {
    Lock lock(*this);
    validateTopmost(progress);
    ProgressInfo info{progress->name(), progress->percentage(), progress->isPausable(),
                      progress->isCancellable()};
    // A resume that comes while the monitors answer belongs to the pause that they ask for.
    const std::uint64_t resumesBefore = resumesSoFar();
    askMonitors(info);
    followRequest(info.cancellable);
    if (info.request == ProgressRequest::Cancel) {
        if (info.cancellable) cancel();
        raise<std::logic_error>(progress_text::kNotCancellable, BOOST_CURRENT_LOCATION);
    }
    if (info.request == ProgressRequest::Pause) {
        if (!info.pausable) {
            raise<std::logic_error>(progress_text::kNotPausable, BOOST_CURRENT_LOCATION);
        }
        pause(lock, resumesBefore, info.cancellable);
        followRequest(info.cancellable);
    }
}

void ProgressTracker::Implementation::finish(const Progress* progress) {
    const Lock lock(*this);
    validateTopmost(progress);
    m_stack.pop_back();
    for (ProgressMonitor* const monitor : m_monitors) {
        validateMonitor(monitor);
        monitor->onFinish();  // what it throws goes no further than the destructor of the progress
    }
}

/// Any open progress may look, also one with others inside it.
void ProgressTracker::Implementation::checkCancel(const Progress* progress) {
    if (m_cancelRequested.load(std::memory_order_relaxed)) followRequest(progress->isCancellable());
}

void ProgressTracker::Implementation::validateTopmost(const Progress* progress) const {
    if (m_stack.empty() || m_stack.back() != progress) {
        raise<std::logic_error>(progress_text::kNotTopmost, BOOST_CURRENT_LOCATION);
    }
}

/// Calls a monitor and counts what it throws.
template <class Call>
auto ProgressTracker::Implementation::call(ProgressMonitor* monitor, const Call& operation)
    -> decltype(operation()) {
    validateMonitor(monitor);
    try {
        return operation();
    } catch (...) {
        ++m_monitorErrors;
        throw;
    }
}

void ProgressTracker::Implementation::askMonitors(ProgressInfo& info) {
    for (ProgressMonitor* const monitor : m_monitors) {
        const ProgressRequest answer = call(monitor, [&] {
            return monitor->onUpdate(info.name, info.percentage, info.pausable, info.cancellable);
        });
        info.request = std::max(info.request, answer);
    }
}

/// Uses a request for cancellation up, if there is one that can be followed.
void ProgressTracker::Implementation::followRequest(bool cancellable) {
    if (cancellable && m_cancelRequested.exchange(false)) cancel();
}

std::uint64_t ProgressTracker::Implementation::resumesSoFar() {
    const Requests requests(m_requestMutex);
    return m_resumes;
}

/// Blocks until resume, without a time-out. A request for cancellation ends the pause of a progress
/// that can follow it. An interruption point of Boost.Thread.
void ProgressTracker::Implementation::pause(Lock& lock, std::uint64_t resumesBefore,
                                            bool cancellable) {
    lock.without([&] {
        Requests requests(m_requestMutex);
        while (m_resumes == resumesBefore && !(m_cancelRequested && cancellable))
            m_requested.wait(requests);
    });
}

ProgressTracker::ProgressTracker() : m_implementation(std::make_unique<Implementation>()) {
}
ProgressTracker::~ProgressTracker() = default;

void ProgressTracker::addMonitor(ProgressMonitor* monitor) {
    m_implementation->addMonitor(monitor);
}
void ProgressTracker::removeMonitor(ProgressMonitor* monitor) {
    m_implementation->removeMonitor(monitor);
}
void ProgressTracker::resume() {
    m_implementation->resume();
}
void ProgressTracker::requestCancel() {
    m_implementation->requestCancel();
}
void ProgressTracker::clearCancel() {
    m_implementation->clearCancel();
}
std::string ProgressTracker::currentName() const {
    return m_implementation->nameOfLastStarted();
}
void ProgressTracker::start(const Progress* progress) {
    m_implementation->start(progress);
}
void ProgressTracker::update(const Progress* progress) {
    m_implementation->update(progress);
}
void ProgressTracker::finish(const Progress* progress) {
    m_implementation->finish(progress);
}
void ProgressTracker::checkCancel(const Progress* progress) {
    m_implementation->checkCancel(progress);
}

MonitorErrorWatch::MonitorErrorWatch(const ProgressTracker& tracker)
    : m_tracker(*tracker.m_implementation), m_before(m_tracker.monitorErrors()) {
}
bool MonitorErrorWatch::sawNone() const {
    return m_tracker.monitorErrors() == m_before;
}

}  // namespace brisko::vexo
