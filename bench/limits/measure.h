#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

/// The references: what the machine itself allows for the jobs that the library does. Tight loops
/// written by hand over files of the same layout; nothing in here shares code with the library.
namespace brisko::limits {

/// Kept apart from its callers, as code behind a library's border is.
#if defined(__GNUC__) && !defined(__clang__)
#define BRISKO_OPAQUE __attribute__((noipa))
#else
#define BRISKO_OPAQUE __attribute__((noinline))
#endif

struct Options {
    std::string data;    // folder of the input
    std::string output;  // folder for what the modes write; empty: the folder of the input
    int runs = 7;        // after one to warm up; 0: a single cold one
    std::uint32_t columns = 4000, rows = 2500;
    std::uint32_t threads = 1;
    std::uint32_t ahead = 1;          // points projected before their pixels are blended
    std::uint32_t imageWidth = 2560;  // pixels; photos are 4 : 3
    std::string onlyFile;             // of the files that gen makes; empty: all
};
Options& options();

std::string inputPath(const std::string& name);
std::string outputPath(const std::string& name);
std::uint64_t fileSize(const std::string& path);

/// A stop watch that can be paused, so that making the input stays out of the figure. CPU time is
/// that of all threads, in user and system mode.
class Watch {
public:
    void start();
    void stop();
    double wall() const { return m_wall; }  // seconds
    double cpu() const { return m_cpu; }

private:
    double m_wall = 0, m_cpu = 0, m_wallStart = 0, m_cpuStart = 0;
};

/// Runs a job as often as the options say and prints one line: median wall and CPU seconds, CPU
/// nanoseconds a point, peak memory of the process and the check value that the job returned.
///   points  how many points (or cells, or pixels) one run handles
void measure(const std::string& mode, double points, const std::function<double(Watch&)>& job);

/// A stdio file; a failure to open, or to write, ends the program with a message.
struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;
File openOrExit(const std::string& path, const char* mode);
void put(std::FILE* file, const void* bytes, std::size_t size);
/// Short reads give what is there: the references read files that they made themselves.
inline std::size_t get(std::FILE* file, void* bytes, std::size_t size) {
    return std::fread(bytes, 1, size, file);
}
void removeFiles(std::initializer_list<std::string> paths);

}  // namespace brisko::limits
