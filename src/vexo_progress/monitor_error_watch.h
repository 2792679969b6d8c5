#pragma once

#include <brisko_codec/progress.h>

#include <cstdint>

namespace brisko::vexo {

/// Looks for exceptions that a tracker's monitors throw from now on, so that a lack of memory in the
/// host is distinguished from one in the library. For the thread that does the work.
class MonitorErrorWatch {
public:
    explicit MonitorErrorWatch(const ProgressTracker& tracker);
    bool sawNone() const;

private:
    const ProgressTracker::Implementation& m_tracker;
    std::uint64_t m_before;
};

}  // namespace brisko::vexo
