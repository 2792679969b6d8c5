#pragma once

#include <brisko_codec/progress.h>

#include <cstdint>
#include <string>

namespace brisko::vexo {

struct Progress::Implementation : private Noncopyable {
    Implementation(Progress* progress, const std::string& label);
    /// Finishes the progress on its tracker. Deliberate: one that was never tracked is a fault in
    /// the program, and the process ends.
    // NOLINTNEXTLINE(bugprone-exception-escape)
    ~Implementation();

    /// Opens the progress on a tracker, once.
    void track(ProgressTracker* newTracker);

    Progress* self;
    ProgressTracker* tracker = nullptr;
    std::string name;
    bool pausable = false;
    bool cancellable = false;
};

struct DefiniteProgress::Implementation : private vexo::Noncopyable {
    Implementation(DefiniteProgress* progress, std::uint64_t steps);

    void validateStepCount(std::uint64_t count) const;
    void validateStepIndex(std::uint64_t index) const;
    /// The part that is done, in units of 1 / resolution per cent.
    std::uint64_t percent() const;

    DefiniteProgress* self;
    std::uint64_t stepCount;
    std::uint64_t stepIndex = 0;
    std::uint64_t lastPercent = 0;  // told to the tracker

    static constexpr std::uint64_t resolution = 1;  // whole per cent
};

/// std::logic_error for a progress without a tracker.
void validateTracker(const ProgressTracker* tracker);

}  // namespace brisko::vexo
