#pragma once

#include <brisko_codec/brisko_codec.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

/// What the library's jobs share. `scripts/bench` makes their input, runs each in a process of its own
/// and sets it against its reference in limits/.
namespace brisko::bench {

struct Destroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};
template <class Codec>
using CodecPtr = std::unique_ptr<Codec, Destroyer>;

/// BRISKO_BENCH_DATA: the folder with the references' scans.
std::string inputPath(const std::string& name);
/// BRISKO_BENCH_OUTPUT, or else the same folder.
std::string outputPath(const std::string& name);
/// BRISKO_BENCH_COLUMNS and BRISKO_BENCH_ROWS: the grid of the scans, 4000 x 2500.
std::uint32_t gridColumns();
std::uint32_t gridRows();

void removeFiles(std::initializer_list<std::string> paths);

/// BRISKO_BENCH_WARM_UP: whether a job runs once before the run that counts.
bool warmsUp();

/// Adds a job to the program under a name. One run is one iteration; CPU time is that of all threads of
/// the process.
template <class Job, class... Arguments>
void addJob(const char* name, Job job, Arguments... arguments) {
    auto* const added = benchmark::RegisterBenchmark(name, job, arguments...)
                            ->Iterations(1)
                            ->MeasureProcessCPUTime()
                            ->Unit(benchmark::kMillisecond);
    if (warmsUp()) added->Repetitions(2);
}
/// Each program's own; called once, before any job runs.
void addJobs();

/// Peak memory of a job, above what the loaded library and the program had taken before its first run.
class JobMemory {
public:
    JobMemory();
    void report(benchmark::State& state) const;

private:
    double m_baseMiB;
};

/// What every job tells: the points of a run and the check value, which must be the reference's.
void report(benchmark::State& state, const JobMemory& memory, double points, double check);

}  // namespace brisko::bench
