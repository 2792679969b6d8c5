#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace brisko::test {

/// Does something in a process of its own, which exits with 0 where the answer is true.
template <class Work>
pid_t startChild(const Work& work) {
    constexpr unsigned kLongest = 120;  // seconds
    const pid_t child = fork();
    if (child != 0) return child;
    alarm(kLongest);
    const auto unthrown = [&work]() noexcept { return work(); };
    _exit(unthrown() ? 0 : 1);
}

/// How the process ended, as waitpid tells it.
inline int waitFor(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

inline bool exitedWell(int status) {
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace brisko::test
