#pragma once

#include <brisko_codec/progress.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace brisko::vexo {

using Events = std::vector<std::string>;

/// A monitor that writes down what it hears, and answers as a test wants it.
class Recorder : public ProgressMonitor {
public:
    void onStart(const std::string& name) override {
        events.push_back("start " + name);
        if (duringStart) duringStart();
    }
    void onFinish() override {
        events.emplace_back("finish");
        if (duringFinish) duringFinish();
    }
    ProgressRequest onUpdate(const std::string& name, float percentage, bool pausable,
                             bool cancellable) override {
        std::ostringstream text;
        text << name << ' ' << percentage << (pausable ? " pausable" : "")
             << (cancellable ? " cancellable" : "");
        events.push_back(text.str());
        return answer ? answer(percentage) : ProgressRequest::Continue;
    }

    Events events;
    std::function<void()> duringStart, duringFinish;
    std::function<ProgressRequest(float)> answer;
};

/// Always the same answer.
inline std::function<ProgressRequest(float)> always(ProgressRequest request) {
    return [request](float) { return request; };
}

/// A tracker with one recorder.
struct RecordedTracker : Recorder {
    RecordedTracker() { tracker.addMonitor(this); }

    ProgressTracker tracker;
};

}  // namespace brisko::vexo
