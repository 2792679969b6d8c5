#pragma once

#include "pcplib/files/progress_callback.h"

#include <algorithm>
#include <cstdint>

namespace QelPcpLib {

/// Tells a callback, which may be null, how far a process has come.
class ProcessSteps {
public:
    /// Begins process 1 of a driver.
    ProcessSteps(CProgressCallback* callback, std::uint64_t total)
        : m_callback(callback), m_total(std::max<std::uint64_t>(total, 1)) {
        if (!m_callback) return;
        m_callback->MarkStarted();
        m_callback->SetPos(0);
        m_callback->SetProcNo(1);
    }

    /// Cheap enough for every batch of points. What the callback throws ends the process.
    void advanceTo(std::uint64_t done) {
        if (!m_callback) return;
        const double share =
            static_cast<double>(std::min(done, m_total)) / static_cast<double>(m_total);
        m_callback->SetPos(static_cast<std::uint16_t>(share * 100.0));
        m_callback->Poll();
    }

private:
    CProgressCallback* m_callback;
    std::uint64_t m_total;
};

}  // namespace QelPcpLib
