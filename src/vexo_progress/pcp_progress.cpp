#include "vexo_progress/pcp_progress.h"

#include "pcplib/files/trace.h"

#include <utility>

namespace brisko::vexo {

namespace {

constexpr std::uint64_t kPerCent = 100;

}  // namespace

PcpProgress::PcpProgress(ProgressTracker* tracker, std::string name)
    : m_tracker(tracker), m_name(std::move(name)) {
}

PcpProgress::~PcpProgress() = default;

void PcpProgress::SetProcNo(std::uint16_t number) {
    if (number != GetProcNo() && m_tracker) {
        m_progress.reset();  // finished before the next one starts
        m_progress = std::make_unique<DefiniteProgress>(m_tracker, m_name, kPerCent);
        m_progress->setPausable(true);
        m_progress->setCancellable(true);
        // Deliberate: no blank after the equals sign.
        QelPcpLib::TraceOut("PcpLib SetProcNo =%d\n", static_cast<std::int16_t>(number));
    }
    CProgressCallback::SetProcNo(number);
}

void PcpProgress::SetPos(std::uint16_t position) {
    if (position == GetPos()) return;
    if (m_progress) {
        const std::int64_t steps = static_cast<std::int16_t>(position);
        m_progress->setStepIndex(static_cast<std::uint64_t>(steps));
    }
    CProgressCallback::SetPos(position);
}

void PcpProgress::Poll() {
    if (m_progress) m_progress->checkCancel();
}

}  // namespace brisko::vexo
