#include "vexo_progress/progress_error.h"
#include "vexo_progress/progress_implementation.h"

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

}  // namespace brisko::vexo
