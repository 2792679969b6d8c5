#include "scan/jobs/input_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace brisko::scan {

InputLock::InputLock(const std::string& path, const std::function<void()>& wait) {
    constexpr std::chrono::milliseconds kPause(100);
    m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (m_file < 0) return;  // reading the input reports why
    try {
        while (flock(m_file, LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR)) {
            wait();
            std::this_thread::sleep_for(kPause);
        }
    } catch (...) {
        close(m_file);
        throw;
    }
}

InputLock::~InputLock() {
    if (m_file >= 0) close(m_file);
}

}  // namespace brisko::scan
