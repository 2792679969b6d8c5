#pragma once

#include <brisko_codec/progress.h>

#include <boost/throw_exception.hpp>

#include <cstdint>
#include <string>

/// How progress reports misuse.
namespace brisko::vexo {

namespace progress_text {

inline constexpr char kInvalidSelf[] = "Invalid self pointer!";
inline constexpr char kInvalidTracker[] = "Invalid tracker pointer!";
inline constexpr char kInvalidProgress[] = "Invalid progress pointer!";
inline constexpr char kInvalidMonitor[] = "Invalid monitor pointer!";
inline constexpr char kTrackedTwice[] = "Cannot track progress twice!";
inline constexpr char kUntracked[] = "Cannot act on an untracked progress!";
inline constexpr char kNotTopmost[] = "Cannot act on a non-topmost progress!";
inline constexpr char kCalledByMonitor[] = "Cannot act on a tracker from its own monitor!";
inline constexpr char kNoSteps[] = "Step count must be positive!";
inline constexpr char kStepCountBelowIndex[] =
    "Step count must be greater-than-or-equal-to step index!";
inline constexpr char kStepIndexAboveCount[] =
    "Step index must be less-than-or-equal-to step count!";
inline constexpr char kCancel[] = "Cancel current progress!";
inline constexpr char kNotCancellable[] = "This progress does not support cancellation!";
inline constexpr char kNotPausable[] = "This progress does not support pausing!";

}  // namespace progress_text

/// Throws an error of the type, with the place attached.
template <class Error>
[[noreturn]] void raise(const char* text, const boost::source_location& place) {
    boost::throw_exception(Error(text), place);
}

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
    std::uint64_t lastPercent = 0;  // shown to the tracker

    static constexpr std::uint64_t resolution = 1;  // whole per cent
};

/// std::logic_error for a progress without a tracker.
void validateTracker(const ProgressTracker* tracker);

}  // namespace brisko::vexo
