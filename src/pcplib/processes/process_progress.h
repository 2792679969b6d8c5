#pragma once

#include "pcplib/files/progress_callback.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <optional>

namespace QelPcpLib {

/// Shows a callback how far a process has come, from bytes (or other units) done, and lets it stop
/// the process between two per cent. Cheap enough for every line of a scan.
class ProcessProgress {
public:
    /// callback: null for none. Begins process 1 of a driver.
    explicit ProcessProgress(CProgressCallback* callback, std::uint64_t total)
        : m_callback(callback), m_total(total), m_interval(std::min(kInterval, total / kReports)) {
        if (!m_callback) return;
        m_callback->SetPos(0);
        m_callback->SetProcNo(1);
    }

    /// So much is done. What the callback throws comes out.
    void reach(std::uint64_t done) {
        if (done < m_next || !m_callback) return;
        m_next = done + m_interval;
        m_callback->SetPos(percent(done));
        m_callback->Poll();
    }
    /// The same for work that comes in large parts.
    void reachThrough(std::uint64_t done) {
        while (m_callback && m_interval > 0 && m_next < done)
            reach(m_next);
        reach(done);
    }
    void finish() {
        m_next = 0;
        reach(m_total);
    }
    /// In work of which no amount is known.
    void poll() const {
        if (m_callback) m_callback->Poll();
    }

private:
    /// Bytes between two reports: a few milliseconds of work, fifty on a slow disk; less where the
    /// whole is so little that per cent would be left out.
    static constexpr std::uint64_t kInterval = std::uint64_t{1} << 20;
    static constexpr std::uint64_t kReports = 200;

    std::uint16_t percent(std::uint64_t done) const {
        if (done >= m_total) return 100;
        const double part = static_cast<double>(done) / static_cast<double>(m_total);
        return static_cast<std::uint16_t>(std::min(99.0, part * 100.0));
    }

    CProgressCallback* m_callback;
    std::uint64_t m_total;
    std::uint64_t m_interval;
    std::uint64_t m_next = 0;
};

/// Passes everything on to another callback, and knows whether that one threw.
class WatchedCallback final : public CProgressCallback {
public:
    explicit WatchedCallback(CProgressCallback& callback) : m_callback(callback) {}

    void SetPos(std::uint16_t position) override {
        watch([&] { m_callback.SetPos(position); });
    }
    void SetProcNo(std::uint16_t number) override {
        watch([&] { m_callback.SetProcNo(number); });
    }
    void Poll() override {
        watch([&] { m_callback.Poll(); });
    }
    bool hasThrown() const { return m_hasThrown; }

private:
    template <class Call>
    void watch(const Call& call) {
        m_hasThrown = true;
        call();
        m_hasThrown = false;
    }

    CProgressCallback& m_callback;
    bool m_hasThrown = false;
};

/// Runs a process that answers whether it went well. A lack of memory is a failure; what the callback
/// throws comes out, a lack of memory of its own included.
/// Returns: 0, or the code for failure.
template <class Process>
std::uint16_t runProcess(CProgressCallback* callback, std::uint16_t failed,
                         const Process& process) {
    std::optional<WatchedCallback> watched;
    if (callback) watched.emplace(*callback);
    try {
        return process(watched ? &*watched : nullptr) ? std::uint16_t{0} : failed;
    } catch (const std::bad_alloc&) {
        if (watched && watched->hasThrown()) throw;
        return failed;
    }
}

}  // namespace QelPcpLib
