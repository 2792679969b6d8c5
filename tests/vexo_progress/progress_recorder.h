#pragma once

#include <brisko_codec/progress.h>

#include <gtest/gtest.h>
#include <boost/exception/get_error_info.hpp>
#include <boost/throw_exception.hpp>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace brisko::vexo {

/// An error carries the function, the file and the line that threw it.
template <class Error>
void expectOrigin(const Error& error) {
    const char* const* const function = boost::get_error_info<boost::throw_function>(error);
    const char* const* const file = boost::get_error_info<boost::throw_file>(error);
    const int* const line = boost::get_error_info<boost::throw_line>(error);
    ASSERT_TRUE(function && file && line) << error.what();
    EXPECT_NE(std::string(*function).find('('), std::string::npos) << *function;
    EXPECT_NE(std::string(*file).find("vexo_progress/"), std::string::npos) << *file;
    EXPECT_GT(*line, 0);
}

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
