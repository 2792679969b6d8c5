// Progresses opened, moved and left in any order, with monitors that cancel, throw and misbehave: a
// monitor hears of as many ends as of beginnings, and of whole per cent between 0 and 100 only.

#include "input.h"

#include <brisko_codec/progress.h>

#include <cmath>
#include <memory>
#include <stdexcept>

namespace brisko::fuzz {

namespace {

using vexo::DefiniteProgress;
using vexo::ProgressRequest;
using vexo::ProgressTracker;

class Monitor : public vexo::ProgressMonitor {
public:
    void onStart(const std::string&) override {
        ++open;
        if (script.u8() % 4 == 1) expectRefused(script.u8() % 7);
    }
    void onFinish() override {
        expect(open > 0);
        --open;
        if (script.u8() % 4 == 1) expectRefused(script.u8() % 7);
    }
    ProgressRequest onUpdate(const std::string&, float percentage, bool pausable,
                             bool cancellable) override {
        expect(open > 0);
        expect(percentage >= 0 && percentage <= 100 && std::floor(percentage) == percentage);
        const std::uint8_t answer = script.u8() % 16;
        if (answer == 1) throw 42;
        if (answer == 2) return ProgressRequest::Cancel;
        if (answer == 4) expectRefused(script.u8() % 7);
        // Would wait without end where it can be followed.
        if (answer == 3 && !pausable) return ProgressRequest::Pause;
        cancelSeen = cancelSeen || cancellable;
        return ProgressRequest::Continue;
    }

    int open = 0;
    bool cancelSeen = false;
    Input script{{}};
    ProgressTracker* tracker = nullptr;

private:
    /// Its tracker takes no calls from a monitor.
    void expectRefused(int call) {
        try {
            if (call == 0) tracker->addMonitor(this);
            if (call == 1) tracker->removeMonitor(this);
            if (call == 2) tracker->resume();
            if (call == 3) tracker->requestCancel();
            if (call == 4) tracker->clearCancel();
            if (call == 5) static_cast<void>(tracker->currentName());
            if (call == 6) const vexo::Progress nested(tracker, "nested");
        } catch (const std::logic_error& error) {
            return expect(error.what() ==
                          std::string_view("Cannot act on a tracker from its own monitor!"));
        }
        expect(false);
    }
};

class Operation {
public:
    explicit Operation(ProgressTracker& tracker) : m_tracker(tracker) {}
    ~Operation() {
        while (!m_open.empty())
            m_open.pop_back();  // the innermost first
    }

    void step(Input& in) {
        const std::uint8_t what = in.u8() % 8;
        const std::uint32_t number = in.u16();
        if (what < 2 && m_open.size() < 20) return start(number);
        if (what == 2) return m_tracker.requestCancel();
        if (what == 3) return m_tracker.resume();
        if (m_open.empty()) return;
        if (what == 4) return finish();
        if (what == 6) return m_open.back()->checkCancel();
        if (what != 5) return move(number);
        m_open.back()->setCancellable((number & 1) != 0);
        m_open.back()->setPausable((number & 2) != 0);
    }

private:
    void start(std::uint32_t steps) {
        m_open.push_back(std::make_unique<DefiniteProgress>(&m_tracker, "p", steps));
        m_steps.resize(m_open.size());
        m_steps.back() = steps;
    }
    void finish() {
        m_open.pop_back();
        m_steps.pop_back();
    }
    /// Mostly the progress on top, sometimes one that may not be moved now.
    void move(std::uint32_t number) {
        const std::size_t which = number % 8 == 7 ? 0 : m_open.size() - 1;
        const std::uint64_t steps = m_steps[which];
        const std::uint64_t index = number % (steps + 2);
        try {
            m_open[which]->setStepIndex(index);
        } catch (const std::invalid_argument&) {
            expect(index > steps);
            return;
        }
        expect(index <= steps);
        expect(m_open[which]->percentage() == std::floor(100.0 * double(index) / double(steps)));
    }

    ProgressTracker& m_tracker;
    std::vector<std::unique_ptr<DefiniteProgress>> m_open;
    std::vector<std::uint64_t> m_steps;
};

void run(ByteSpan input) {
    Input in(input);
    Monitor first, second;
    first.script = Input(in.takePiece());
    second.script = Input(in.takePiece());
    ProgressTracker tracker;
    for (Monitor* const monitor : {&first, &second}) {
        monitor->tracker = &tracker;
        tracker.addMonitor(monitor);
    }
    for (int steps = 0; !in.empty() && steps < 200; ++steps) {
        // What comes out of an operation ends it.
        Operation operation(tracker);
        try {
            for (; !in.empty() && steps < 200; ++steps)
                operation.step(in);
        } catch (const vexo::CancelProgressRequest&) {
        } catch (const std::logic_error&) {  // misuse, as far as it was not met by name above
        } catch (int thrown) {
            expect(thrown == 42);
        }
    }
    expect(first.open == 0 && second.open == 0);
}

std::vector<Bytes> seeds() {
    const Bytes steps = {0, 10, 0, 5, 1, 0, 7, 5, 0, 1, 200, 0, 7, 40, 0, 7, 80, 0,
                         2, 0,  0, 6, 0, 0, 4, 0, 0, 0, 3,   0, 7, 3,  0, 7, 2,  0};
    Bytes calls = {3};
    for (std::uint8_t call = 0; call < 7; ++call)
        calls.insert(calls.end(), {4, call, 1, call});
    return {pieces({{}, {}, steps}), pieces({{0, 2, 1}, calls, steps})};
}

const Registered registered({"progress", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
