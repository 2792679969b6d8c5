// Conversions into indexed CL3, with and without a tracker, and the sorting of lines.

#include "job.h"
#include "synthetic/check_values.h"

#include "pcplib/processes/sort_clr.h"

#include <filesystem>

namespace brisko::bench {

namespace {

constexpr std::size_t kCL3Header = 115, kCLRHeader = 120, kIJHeader = 48;

/// A scan in the output folder under a name of its own, so that what the library writes beside it is
/// known and can be removed.
class LinkedScan {
public:
    explicit LinkedScan(const std::string& name) : m_stem(outputPath("library")) {
        m_extension = name.substr(name.rfind('.'));
        remove();
        link(name);
        if (m_extension == ".cl3") {
            const std::string stem = name.substr(0, name.rfind('.'));
            link(stem + ".ij");
            link(stem + ".alg");
        }
    }
    ~LinkedScan() { remove(); }
    LinkedScan(const LinkedScan&) = delete;
    LinkedScan& operator=(const LinkedScan&) = delete;

    std::string path() const { return m_stem + m_extension; }
    double checkIndexed() const {
        return checkFile(m_stem + "_index.cl3", kCL3Header) +
               checkFile(m_stem + "_index.ij", kIJHeader);
    }
    double checkSorted() const { return checkFile(path() + ".Converted.clr", kCLRHeader); }

private:
    void link(const std::string& name) const {
        std::error_code failed;
        const std::string extension = name.substr(name.rfind('.'));
        std::filesystem::create_symlink(std::filesystem::absolute(inputPath(name)),
                                        m_stem + extension, failed);
    }
    void remove() const {
        for (const char* end : {".clr", ".clr.Converted.clr", ".cl3", ".ij", ".alg", "_index.cl3",
                                "_index.ij", "_index.alg"}) {
            removeFiles({m_stem + end});
        }
    }

    std::string m_stem, m_extension;
};

double cells(const std::string& name) {
    const std::uint32_t columns = name == "raw5.clr" ? gridColumns() / 4 : gridColumns();
    return static_cast<double>(columns) * gridRows();
}

template <class Convert>
void convert(benchmark::State& state, const std::string& name, const Convert& conversion) {
    const LinkedScan scan(name);
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = conversion(scan.path());
    if (!done) state.SkipWithError("the conversion failed");
    report(state, memory, cells(name), scan.checkIndexed());
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

/// Hosts reach the sorting of lines only as one step of a conversion.
void sortLines(benchmark::State& state, const std::string& name) {
    const LinkedScan scan(name);
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = QelPcpLib::SortCLR(scan.path(), nullptr) == 0;
    if (!done) state.SkipWithError("the lines cannot be sorted");
    report(state, memory, cells(name), scan.checkSorted());
}

}  // namespace

void addJobs() {
    addJob("conv-clr1", fromCLR, "raw1.clr");
    addJob("conv-clr5", fromCLR, "raw5.clr");
    addJob("conv-clrc", fromCLR, "rawc.clr");
    addJob("conv-through", fromCLR, "through.clr");
    addJob("reindex", reindex);
    addJob("conv-tracked", tracked);
    addJob("sort-plain", sortLines, "rise.clr");
    addJob("sort-compressed", sortLines, "rawc.clr");
}

}  // namespace brisko::bench
