#pragma once

#include <brisko_codec/threads.h>

#include <algorithm>
#include <cstddef>

namespace brisko::scan {

/// The threads of each of several jobs that run side by side: together they have those of one.
///   tasks  that there are at all: with fewer of them than jobs each gets more
inline unsigned threadsOfEach(std::size_t jobs, std::size_t tasks) {
    const std::size_t sharers = std::max<std::size_t>(std::min(jobs, tasks), 1);
    return std::max(static_cast<unsigned>(jobThreads() / sharers), 1U);
}

}  // namespace brisko::scan
