#include "progress_host.h"

#include <brisko_codec/brisko_codec.h>

#include <cstdio>

namespace {

using namespace brisko::vexo;

class Monitor : public ProgressMonitor {
public:
    void onStart(const std::string&) override { ++m_open; }
    void onFinish() override { --m_open; }
    ProgressRequest onUpdate(const std::string&, float percentage, bool, bool) override {
        if (percentage == 50.0F) throw 50;
        return percentage > 60.0F ? ProgressRequest::Cancel : ProgressRequest::Continue;
    }
    int open() const { return m_open; }

private:
    int m_open = 0;
};

bool cancels(ProgressTracker& tracker, bool cancellable, std::uint64_t percent) {
    try {
        DefiniteProgress progress(&tracker, "work", 100);
        progress.setCancellable(cancellable);
        progress.setStepIndex(percent);
    } catch (const CancelProgressRequest& request) {
        return request.what() == std::string("Cancel current progress!");
    }
    return false;
}

template <class Error>
bool fails(ProgressTracker& tracker, std::uint64_t steps, std::uint64_t index) {
    try {
        DefiniteProgress(&tracker, "work", steps).setStepIndex(index);
    } catch (const Error&) {
        return true;
    }
    return false;
}

}  // namespace

int followProgress() {
    ProgressTracker tracker;
    Monitor monitor;
    tracker.addMonitor(&monitor);
    const bool good = cancels(tracker, true, 70) &&                       //
                      !cancels(tracker, true, 10) &&                      //
                      fails<std::logic_error>(tracker, 100, 70) &&        // not cancellable
                      fails<std::invalid_argument>(tracker, 0, 0) &&      //
                      fails<std::invalid_argument>(tracker, 100, 101) &&  //
                      fails<int>(tracker, 100, 50) &&                     // the monitor's own
                      monitor.open() == 0;
    std::puts(good ? "exceptions arrive" : "an exception was not recognised");
    return good ? 0 : 1;
}
