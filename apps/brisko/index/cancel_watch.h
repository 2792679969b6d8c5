#pragma once

#include <brisko_codec/progress.h>

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace brisko::tool {

/// Passes Ctrl-C on to a tracker while the object lives. A signal handler may not do so itself, and
/// a monitor is asked only once in a per cent, which may take long.
class CancelWatch {
public:
    explicit CancelWatch(vexo::ProgressTracker& tracker);

private:
    void watch(const std::stop_token& stop);

    vexo::ProgressTracker& m_tracker;
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::jthread m_thread;  // the last member: it stops before the others go
};

}  // namespace brisko::tool
