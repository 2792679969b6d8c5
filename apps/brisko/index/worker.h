#pragma once

#include "index/worker_message.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace brisko::tool {

/// A process that indexes one input and tells of it through a pipe. It is in a process group of its
/// own, so that Ctrl-C reaches it once and through its parent, and it stops when its parent dies.
class Worker {
public:
    /// Throws ScanError(NotWritten) when the system gives no process.
    Worker(std::size_t number, const IndexTask& task);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    std::size_t number() const { return m_number; }
    int pipe() const { return m_pipe; }

    /// What has come since the last call; to be called when the pipe can be read.
    std::vector<WorkerMessage> receive();
    /// Whether the process has told all it will.
    bool isOver() const { return m_over; }
    /// Waits for the process's end. How it ended where it told no outcome: "was ended by signal 9".
    std::string wait();
    /// Asks it to stop.
    void stop() const;

private:
    std::size_t m_number;
    pid_t m_process = -1;
    int m_pipe = -1;
    bool m_over = false;
    std::string m_text;  // of a line that is not complete
};

}  // namespace brisko::tool
