#include "index/worker.h"

#include "common/progress.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

namespace brisko::tool {
namespace {

[[noreturn]] void failToStart(const std::string& input) {
    throw ScanError(ErrorKind::NotWritten, input,
                    std::string("no process for it: ") + std::strerror(errno), "use fewer --jobs");
}

/// A parent that went away stops the work.
void tell(int pipe, const WorkerMessage& message) {
    const std::string line = encodeMessage(message);
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t put = write(pipe, line.data() + done, line.size() - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) throw ScanError(ErrorKind::Cancelled, {}, "cancelled");
        done += static_cast<std::size_t>(put);
    }
}

/// The worker's process, from its first step to its last.
[[noreturn]] void work(const IndexTask& task, int pipe, pid_t parent) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kPause(100);
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    Clock::time_point next{};
    std::string lastStage;
    const auto progress = [&](double share, const std::string& stage) {
        if (isInterrupted()) return false;
        if (Clock::now() < next && stage == lastStage) return true;
        tell(pipe, {share, stage, {}});
        lastStage = stage;
        next = Clock::now() + kPause;
        return true;
    };
    try {
        const IndexOutcome outcome = scan::runIndexTask(task, progress);
        tell(pipe, {1, "", outcome});
    } catch (...) {
        _exit(1);
    }
    // No destructor of the parent's objects may run here, and nothing it has buffered be written.
    _exit(0);
}

}  // namespace

Worker::Worker(std::size_t number, const IndexTask& task) : m_number(number) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) failToStart(task.input);
    const pid_t parent = getpid();
    m_process = fork();
    if (m_process == 0) {
        close(ends[0]);
        work(task, ends[1], parent);
    }
    const int error = errno;
    close(ends[1]);
    m_pipe = ends[0];
    if (m_process > 0) {
        setpgid(m_process, m_process);  // whoever comes first
        return;
    }
    close(m_pipe);
    errno = error;
    failToStart(task.input);
}

Worker::~Worker() {
    close(m_pipe);
    if (m_process <= 0) return;
    stop();
    wait();
}

std::vector<WorkerMessage> Worker::receive() {
    char bytes[4096];
    const ssize_t got = read(m_pipe, bytes, sizeof bytes);
    std::vector<WorkerMessage> messages;
    if (got < 0 && errno == EINTR) return messages;
    if (got <= 0) {
        m_over = true;
        return messages;
    }
    m_text.append(bytes, static_cast<std::size_t>(got));
    std::size_t end = 0;
    while ((end = m_text.find('\n')) != std::string::npos) {
        if (auto message = decodeMessage(m_text.substr(0, end))) messages.push_back(*message);
        m_text.erase(0, end + 1);
    }
    return messages;
}

std::string Worker::wait() {
    int status = 0;
    while (waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
    return "ended with code " + std::to_string(WEXITSTATUS(status)) + " and no word";
}

void Worker::stop() const {
    if (m_process > 0) kill(m_process, SIGTERM);
}

}  // namespace brisko::tool
