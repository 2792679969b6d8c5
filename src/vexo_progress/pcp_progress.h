#pragma once

#include "pcplib/files/progress_callback.h"

#include <brisko_codec/progress.h>

#include <cstdint>
#include <memory>
#include <string>

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

/// The bridge from the processing library to a tracker: each of its processes is a progress of 100
/// steps. Without a tracker every call is accepted and nothing is shown.
class PcpProgress final : public QelPcpLib::CProgressCallback, private Noncopyable {
public:
    /// name: of every progress, whatever the process.
    PcpProgress(ProgressTracker* tracker, std::string name);
    /// Finishes the current progress.
    ~PcpProgress() override;

    /// Starts a new progress when the number is another one, and says so on standard output.
    void SetProcNo(std::uint16_t number) override;
    /// The position counts as signed: a negative one is an invalid step, as one above 100 is.
    void SetPos(std::uint16_t position) override;
    void Poll() override;

private:
    ProgressTracker* m_tracker;
    std::string m_name;
    std::unique_ptr<DefiniteProgress> m_progress;
};

}  // namespace brisko::vexo
