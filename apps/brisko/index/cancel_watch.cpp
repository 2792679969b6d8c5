#include "index/cancel_watch.h"

#include "common/progress.h"

#include <chrono>

namespace brisko::tool {

CancelWatch::CancelWatch(vexo::ProgressTracker& tracker)
    : m_tracker(tracker), m_thread([this](const std::stop_token& stop) { watch(stop); }) {
}

void CancelWatch::watch(const std::stop_token& stop) {
    constexpr std::chrono::milliseconds kPause(20);
    std::unique_lock lock(m_mutex);
    while (!stop.stop_requested() && !isInterrupted())
        m_wake.wait_for(lock, stop, kPause, [] { return false; });
    if (!stop.stop_requested()) m_tracker.requestCancel();
}

}  // namespace brisko::tool
