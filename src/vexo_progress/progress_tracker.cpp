#include <brisko_codec/progress.h>

#include "vexo_progress/progress_error.h"

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
    std::string nameOfLastStarted();

    void start(const Progress* progress);
    void update(const Progress* progress);
    void finish(const Progress* progress);
    void checkCancel(const Progress* progress);

private:
    class Lock;

    void validateTopmost(const Progress* progress) const;
    void askMonitors(ProgressInfo& info) const;
    [[noreturn]] void cancel();
    void pause(Lock& lock, bool cancellable);

    std::deque<const Progress*> m_stack;    // back: topmost
    std::set<ProgressMonitor*> m_monitors;  // called in this order
    boost::mutex m_mutex;                   // guards all but the two atomics
    boost::condition_variable m_resumed;
    bool m_paused = false;
    std::string m_currentName;
    std::atomic<std::thread::id> m_holder{};  // the thread that holds the mutex
    std::atomic<bool> m_cancelRequested = false;
};

/// The mutex for a scope. Knows the thread that holds it, so that a monitor that calls back gets an
/// error and not a dead end.
class ProgressTracker::Implementation::Lock {
public:
    explicit Lock(Implementation& owner)
        : m_owner(owner), m_lock(owner.m_mutex, boost::defer_lock) {
        if (m_owner.m_holder == std::this_thread::get_id()) {
            raise<std::logic_error>(progress_text::kCalledByMonitor, BOOST_CURRENT_LOCATION);
        }
        m_lock.lock();
        m_owner.m_holder = std::this_thread::get_id();
    }
    ~Lock() { m_owner.m_holder = std::thread::id(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Waits without the mutex. An interruption point of Boost.Thread.
    void wait(boost::condition_variable& condition) {
        struct Away {
            explicit Away(std::atomic<std::thread::id>& id) : holder(id) {
                holder = std::thread::id();
            }
            ~Away() { holder = std::this_thread::get_id(); }
            std::atomic<std::thread::id>& holder;
        };
        const Away away(m_owner.m_holder);
        condition.wait(m_lock);
    }

private:
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

void ProgressTracker::Implementation::resume() {
    const Lock lock(*this);
    m_paused = false;
    m_resumed.notify_all();
}

void ProgressTracker::Implementation::requestCancel() {
    const Lock lock(*this);
    m_cancelRequested = true;
    m_resumed.notify_all();
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
        validateMonitor(monitor);
        monitor->onStart(progress->name());
    }
    m_currentName = progress->name();
}

void ProgressTracker::Implementation::update(const Progress* progress) {
    Lock lock(*this);
    validateTopmost(progress);
    ProgressInfo info{progress->name(), progress->percentage(), progress->isPausable(),
                      progress->isCancellable()};
    askMonitors(info);
    if (m_cancelRequested && info.cancellable) cancel();
    if (info.request == ProgressRequest::Cancel) {
        if (info.cancellable) cancel();
        raise<std::logic_error>(progress_text::kNotCancellable, BOOST_CURRENT_LOCATION);
    }
    if (info.request == ProgressRequest::Pause) {
        if (!info.pausable) {
            raise<std::logic_error>(progress_text::kNotPausable, BOOST_CURRENT_LOCATION);
        }
        pause(lock, info.cancellable);
        if (m_cancelRequested && info.cancellable) cancel();
    }
}

void ProgressTracker::Implementation::finish(const Progress* progress) {
    const Lock lock(*this);
    validateTopmost(progress);
    m_stack.pop_back();
    for (ProgressMonitor* const monitor : m_monitors) {
        validateMonitor(monitor);
        monitor->onFinish();
    }
}

void ProgressTracker::Implementation::checkCancel(const Progress* progress) {
    if (!m_cancelRequested.load(std::memory_order_relaxed)) return;
    const Lock lock(*this);
    validateTopmost(progress);
    if (m_cancelRequested && progress->isCancellable()) cancel();
}

void ProgressTracker::Implementation::validateTopmost(const Progress* progress) const {
    if (m_stack.empty() || m_stack.back() != progress) {
        raise<std::logic_error>(progress_text::kNotTopmost, BOOST_CURRENT_LOCATION);
    }
}

void ProgressTracker::Implementation::askMonitors(ProgressInfo& info) const {
    for (ProgressMonitor* const monitor : m_monitors) {
        validateMonitor(monitor);
        const ProgressRequest answer =
            monitor->onUpdate(info.name, info.percentage, info.pausable, info.cancellable);
        info.request = std::max(info.request, answer);
    }
}

void ProgressTracker::Implementation::cancel() {
    m_cancelRequested = false;
    boost::throw_exception(CancelProgressRequest(), BOOST_CURRENT_LOCATION);
}

/// Blocks until resume, without a time-out. A request for cancellation ends the pause of a progress
/// that can follow it.
void ProgressTracker::Implementation::pause(Lock& lock, bool cancellable) {
    struct Pausing {
        explicit Pausing(bool& paused) : flag(paused) { flag = true; }
        ~Pausing() { flag = false; }  // also when the thread is interrupted
        bool& flag;
    };
    const Pausing pausing(m_paused);
    while (m_paused && !(m_cancelRequested && cancellable))
        lock.wait(m_resumed);
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

}  // namespace brisko::vexo
