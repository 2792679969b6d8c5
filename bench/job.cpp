#include "job.h"

#include <brisko_codec/threads.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace brisko::bench {

namespace {

std::string setting(const char* name, const std::string& usual) {
    const char* const value = std::getenv(name);
    return value ? value : usual;
}

std::uint32_t count(const char* name, const std::string& usual) {
    return static_cast<std::uint32_t>(std::strtoul(setting(name, usual).c_str(), nullptr, 10));
}

double peakMiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) return std::strtod(line.c_str() + 6, nullptr) / 1024;
    }
    return 0;
}

/// One thread, where a row does not ask for more: what the other rows measure is the work itself.
const bool threadsAreSet = [] {
    setJobThreads(count("BRISKO_BENCH_THREADS", "1"));
    return true;
}();

}  // namespace

std::string inputPath(const std::string& name) {
    return setting("BRISKO_BENCH_DATA", "build/bench-data") + "/" + name;
}

std::string outputPath(const std::string& name) {
    return setting("BRISKO_BENCH_OUTPUT", inputPath("")) + "/" + name;
}

std::uint32_t gridColumns() {
    return count("BRISKO_BENCH_COLUMNS", "4000");
}

std::uint32_t gridRows() {
    return count("BRISKO_BENCH_ROWS", "2500");
}

bool warmsUp() {
    return std::getenv("BRISKO_BENCH_WARM_UP") != nullptr;
}

void removeFiles(std::initializer_list<std::string> paths) {
    for (const std::string& path : paths)
        std::remove(path.c_str());
}

JobMemory::JobMemory() {
    static const double beforeFirstRun = peakMiB();
    m_baseMiB = beforeFirstRun;
}

void JobMemory::report(benchmark::State& state) const {
    state.counters["base_mib"] = m_baseMiB;
    state.counters["peak_mib"] = peakMiB();
}

void report(benchmark::State& state, const JobMemory& memory, double points, double check) {
    memory.report(state);
    state.counters["points"] = points;
    state.counters["check"] = check;
}

}  // namespace brisko::bench

int main(int argc, char** argv) {
    brisko::bench::addJobs();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
