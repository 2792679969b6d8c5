#include "vexo_progress/progress_implementation.h"

#include <cmath>

namespace brisko::vexo {

void validateTracker(const ProgressTracker* tracker) {
    if (!tracker) raise<std::logic_error>(progress_text::kUntracked, BOOST_CURRENT_LOCATION);
}

Progress::Implementation::Implementation(Progress* progress, const std::string& label)
    : self(progress), name(label) {
    if (!self) raise<std::invalid_argument>(progress_text::kInvalidSelf, BOOST_CURRENT_LOCATION);
}

// NOLINTNEXTLINE(bugprone-exception-escape)
Progress::Implementation::~Implementation() {
    validateTracker(tracker);  // ends the process from here
    try {
        tracker->finish(self);
    } catch (...) {
        // A monitor's error, or a progress that is not on top any more: nobody here can act on it.
        return;
    }
}

void Progress::Implementation::track(ProgressTracker* newTracker) {
    if (!newTracker) {
        raise<std::invalid_argument>(progress_text::kInvalidTracker, BOOST_CURRENT_LOCATION);
    }
    if (tracker) raise<std::logic_error>(progress_text::kTrackedTwice, BOOST_CURRENT_LOCATION);
    tracker = newTracker;
    tracker->start(self);
}

Progress::Progress(ProgressTracker* tracker, const std::string& name)
    : m_implementation(std::make_unique<Implementation>(this, name)) {
    m_implementation->track(tracker);
}

Progress::~Progress() = default;

float Progress::percentage() const {
    return -1.0F;
}

void Progress::setPausable(bool pausable) {
    m_implementation->pausable = pausable;
}
void Progress::setCancellable(bool cancellable) {
    m_implementation->cancellable = cancellable;
}
bool Progress::isPausable() const {
    return m_implementation->pausable;
}
bool Progress::isCancellable() const {
    return m_implementation->cancellable;
}
const std::string& Progress::name() const {
    return m_implementation->name;
}
ProgressTracker* Progress::tracker() const {
    return m_implementation->tracker;
}

void Progress::checkCancel() const {
    validateTracker(tracker());
    tracker()->checkCancel(this);
}

DefiniteProgress::Implementation::Implementation(DefiniteProgress* progress, std::uint64_t steps)
    : self(progress), stepCount(steps) {
    if (!self) raise<std::invalid_argument>(progress_text::kInvalidSelf, BOOST_CURRENT_LOCATION);
}

void DefiniteProgress::Implementation::validateStepCount(std::uint64_t count) const {
    if (count == 0) {
        raise<std::invalid_argument>(progress_text::kNoSteps, BOOST_CURRENT_LOCATION);
    }
    if (count < stepIndex) {
        raise<std::invalid_argument>(progress_text::kStepCountBelowIndex, BOOST_CURRENT_LOCATION);
    }
}

void DefiniteProgress::Implementation::validateStepIndex(std::uint64_t index) const {
    if (index > stepCount) {
        raise<std::invalid_argument>(progress_text::kStepIndexAboveCount, BOOST_CURRENT_LOCATION);
    }
}

std::uint64_t DefiniteProgress::Implementation::percent() const {
    // Doubles, because the product may not fit into 64 bits. With step counts of 10^14 and more they
    // would round the end to less than the whole.
    if (stepIndex == stepCount) return 100 * resolution;
    const double done = static_cast<double>(stepIndex) * 100.0 * static_cast<double>(resolution);
    return static_cast<std::uint64_t>(std::floor(done / static_cast<double>(stepCount)));
}

DefiniteProgress::DefiniteProgress(ProgressTracker* tracker, const std::string& name,
                                   std::uint64_t stepCount)
    : Progress(tracker, name), m_implementation(std::make_unique<Implementation>(this, stepCount)) {
    m_implementation->validateStepCount(stepCount);
}

DefiniteProgress::~DefiniteProgress() = default;

float DefiniteProgress::percentage() const {
    return static_cast<float>(m_implementation->percent()) /
           static_cast<float>(Implementation::resolution);
}

void DefiniteProgress::setStepIndex(std::uint64_t index) {
    Implementation& own = *m_implementation;
    own.validateStepIndex(index);
    if (index == own.stepIndex) return;
    own.stepIndex = index;
    const std::uint64_t percent = own.percent();
    if (percent == own.lastPercent) return checkCancel();
    validateTracker(tracker());
    tracker()->update(this);  // may block, and may throw
    own.lastPercent = percent;
}

}  // namespace brisko::vexo
