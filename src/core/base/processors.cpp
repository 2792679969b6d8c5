#include "base/processors.h"

#include <sched.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

namespace brisko {
namespace {

std::size_t inAffinity() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) != 0) return std::thread::hardware_concurrency();
    return static_cast<std::size_t>(CPU_COUNT(&set));
}

/// "QUOTA PERIOD" of a folder of control groups: processors' worth of time; no limit where it says "max", or
/// nothing.
double quotaIn(const std::string& folder) {
    std::ifstream file(folder + "/cpu.max");
    double quota = 0, period = 0;
    if (!(file >> quota >> period) || quota <= 0 || period <= 0) {
        return std::numeric_limits<double>::infinity();
    }
    return quota / period;
}

/// The least of the process's own group and of all that it lies in.
double inControlGroups() {
    const std::string root = "/sys/fs/cgroup";
    double least = quotaIn(root);
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        if (!line.starts_with("0::")) continue;
        for (std::string path = line.substr(3); path.size() > 1;
             path.resize(path.find_last_of('/'))) {
            least = std::min(least, quotaIn(root + path));
        }
    }
    return least;
}

std::size_t countProcessors() noexcept {
    double count = static_cast<double>(inAffinity());
    try {
        count = std::min(count, std::ceil(inControlGroups()));
    } catch (const std::exception&) {
        // Without memory for the files' names: what the affinity says.
    }
    return static_cast<std::size_t>(std::max(count, 1.0));
}

}  // namespace

std::size_t processorCount() {
    static const std::size_t count = countProcessors();
    return count;
}

}  // namespace brisko
