// Conversions into indexed CL3, with and without a tracker.

#include "linked_scan.h"

namespace brisko::bench {

namespace {

template <class Convert>
void convert(benchmark::State& state, const std::string& name, const Convert& conversion) {
    const LinkedScan scan(name);
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = conversion(scan.path());
    // A conversion that finds nothing to do is content, too.
    const double check = scan.checkIndexed();
    if (!done || check == 0) state.SkipWithError("the conversion failed");
    report(state, memory, cellsOf(name), check);
}

void fromCLR(benchmark::State& state, const std::string& name) {
    convert(state, name, [](const std::string& path) { return ClrToCl3IjIndexed(path, nullptr); });
}

void reindex(benchmark::State& state) {
    convert(state, "grid.cl3", [](const std::string& path) { return Cl3IjIndexed(path, nullptr); });
}

/// A monitor that does as little as one can.
class Listener : public vexo::ProgressMonitor {
public:
    void onStart(const std::string& /*name*/) override {}
    void onFinish() override {}
    vexo::ProgressRequest onUpdate(const std::string& /*name*/, float /*percentage*/,
                                   bool /*pausable*/, bool /*cancellable*/) override {
        return vexo::ProgressRequest::Continue;
    }
};

void tracked(benchmark::State& state) {
    convert(state, "raw1.clr", [](const std::string& path) {
        vexo::ProgressTracker tracker;
        Listener listener;
        tracker.addMonitor(&listener);
        return ClrToCl3IjIndexed(path, &tracker);
    });
}

}  // namespace

void addJobs() {
    addJob("conv-clr1", fromCLR, "raw1.clr");
    addJob("conv-clr5", fromCLR, "raw5.clr");
    addJob("conv-clrc", fromCLR, "rawc.clr");
    addJob("conv-through", fromCLR, "through.clr");
    addJob("reindex", reindex);
    addJob("conv-tracked", tracked);
}

}  // namespace brisko::bench
