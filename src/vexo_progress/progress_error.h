#pragma once

#include <boost/throw_exception.hpp>

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

}  // namespace brisko::vexo
