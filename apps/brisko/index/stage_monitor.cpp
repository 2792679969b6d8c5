#include "index/stage_monitor.h"

#include "common/progress.h"

#include <algorithm>

namespace brisko::tool {

StageMonitor::StageMonitor(unsigned stages, const TaskProgress& progress)
    : m_stages(stages), m_progress(progress) {
}

void StageMonitor::reach(double stages) {
    const double most = m_stages;
    m_share = std::max(m_share, std::min(stages, most) / (most + 1));
}

void StageMonitor::onStart(const std::string& name) {
    if (m_depth++ == 0) m_name = name;
}

void StageMonitor::onFinish() {
    if (--m_depth > 0) return;
    ++m_finished;
    reach(m_finished);
}

vexo::ProgressRequest StageMonitor::onUpdate(const std::string&, float percentage, bool,
                                             bool cancellable) {
    if (m_depth == 1 && percentage >= 0) reach(m_finished + percentage / 100.0);
    try {
        m_progress(m_share, m_name);
    } catch (const Interrupted&) {
        // A stage that cannot be cancelled is followed by one that can.
        if (cancellable) return vexo::ProgressRequest::Cancel;
    }
    return vexo::ProgressRequest::Continue;
}

}  // namespace brisko::tool
