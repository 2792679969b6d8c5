#pragma once

#include <brisko_codec/progress.h>

#include "vexo_progress/pcp_progress.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace brisko {

/// Carries what a host's monitor threw through the conversion, a cancellation included: it reaches the
/// host, while everything else that goes wrong becomes a false result.
struct HostInterrupt {
    std::exception_ptr cause;
};

/// Runs a call that ends in the host's code, the monitors of a tracker.
template <class Call>
decltype(auto) callHost(const vexo::ProgressTracker& tracker, Call&& call) {
    const vexo::MonitorErrorWatch monitors(tracker);
    try {
        return std::forward<Call>(call)();
    } catch (const std::bad_alloc&) {
        if (monitors.sawNone()) throw;  // a lack of memory of our own is one as anywhere else
        throw HostInterrupt{std::current_exception()};
    } catch (...) {
        throw HostInterrupt{std::current_exception()};
    }
}

/// The steps of a conversion, shown to a tracker; nothing happens where there is none.
class ConversionSteps {
public:
    ConversionSteps(vexo::ProgressTracker* tracker, const std::string& label, std::uint64_t total)
        : m_tracker(tracker), m_total(std::max<std::uint64_t>(total, 1)) {
        if (!tracker) return;
        callHost(*tracker, [&] {
            m_progress = std::make_unique<vexo::DefiniteProgress>(tracker, label, m_total);
        });
        m_progress->setPausable(true);
        m_progress->setCancellable(true);
    }

    /// Cheap enough for every batch of points. Never goes back.
    void advanceTo(std::uint64_t done) {
        if (!m_progress) return;
        m_done = std::max(m_done, std::min(done, m_total));
        callHost(*m_tracker, [&] {
            m_progress->setStepIndex(m_done);
            m_progress->checkCancel();
        });
    }

    /// The same for work that comes in large parts: monitors see each per cent.
    void advanceThrough(std::uint64_t done) {
        for (std::uint64_t next = m_done + m_total / 100 + 1; next < done && m_progress;
             next = m_done + m_total / 100 + 1) {
            advanceTo(next);
        }
        advanceTo(done);
    }

    /// Follows a request for cancellation, in work that has no steps.
    void poll() {
        if (m_progress) callHost(*m_tracker, [&] { m_progress->checkCancel(); });
    }

private:
    vexo::ProgressTracker* m_tracker;
    std::uint64_t m_total;
    std::uint64_t m_done = 0;
    std::unique_ptr<vexo::DefiniteProgress> m_progress;
};

/// The bridge for the drivers of the processing library.
class DriverProgress final : public QelPcpLib::CProgressCallback {
public:
    DriverProgress(vexo::ProgressTracker* tracker, const std::string& label)
        : m_tracker(tracker), m_bridge(tracker, label) {}

    void SetPos(std::uint16_t position) override {
        show([&] { m_bridge.SetPos(position); });
    }
    void SetProcNo(std::uint16_t number) override {
        show([&] { m_bridge.SetProcNo(number); });
    }
    void Poll() override {
        show([&] { m_bridge.Poll(); });
    }

private:
    template <class Call>
    void show(const Call& call) {
        if (m_tracker) callHost(*m_tracker, call);  // without a tracker nothing comes of it
    }

    vexo::ProgressTracker* m_tracker;
    vexo::PcpProgress m_bridge;
};

}  // namespace brisko
