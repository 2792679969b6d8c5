#include "limits/measure.h"

#include <sys/resource.h>
#include <time.h>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace brisko::limits {

Options& options() {
    static Options values;
    return values;
}

std::string inputPath(const std::string& name) {
    return options().data + "/" + name;
}

std::string outputPath(const std::string& name) {
    return (options().output.empty() ? options().data : options().output) + "/" + name;
}

std::uint64_t fileSize(const std::string& path) {
    std::error_code failed;
    const std::uint64_t size = std::filesystem::file_size(path, failed);
    return failed ? 0 : size;
}

namespace {

double wallNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double cpuNow() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

void Watch::start() {
    m_wallStart = wallNow();
    m_cpuStart = cpuNow();
}

void Watch::stop() {
    m_wall += wallNow() - m_wallStart;
    m_cpu += cpuNow() - m_cpuStart;
}

void measure(const std::string& mode, double points, const std::function<double(Watch&)>& job) {
    std::vector<double> wall, cpu;
    double check = 0;
    for (int run = 0; run <= options().runs; ++run) {
        Watch watch;
        check = job(watch);
        const bool warmUp = run == 0 && options().runs > 0;
        if (warmUp) continue;
        wall.push_back(watch.wall());
        cpu.push_back(watch.cpu());
    }
    const double w = median(wall), c = median(cpu);
    std::printf(
        "%s runs=%zu wall=%.6f cpu=%.6f points=%.0f ns/point=%.2f peakMiB=%.1f check=%.12g\n",
        mode.c_str(), wall.size(), w, c, points, c / points * 1e9, peakMiB(), check);
}

File openOrExit(const std::string& path, const char* mode) {
    File file(std::fopen(path.c_str(), mode));
    if (!file) {
        std::perror(path.c_str());
        std::exit(2);
    }
    return file;
}

void put(std::FILE* file, const void* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, file) != size) {
        std::perror("write");
        std::exit(2);
    }
}

void removeFiles(std::initializer_list<std::string> paths) {
    for (const std::string& path : paths)
        std::remove(path.c_str());
}

}  // namespace brisko::limits
