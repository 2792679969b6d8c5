#include "pcplib/files/trace.h"

#include "base/text.h"

#include <brisko_codec/trace.h>

#include <signal.h>
#include <stdio_ext.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace QelPcpLib {

namespace {

std::atomic<bool> s_isWanted = true;

/// Keeps a SIGPIPE that is raised while the object lives from being delivered to the host. One that
/// was already waiting is the host's own and stays.
class BrokenPipeShield {
public:
    BrokenPipeShield() {
        sigset_t waiting;
        sigpending(&waiting);
        m_active = sigismember(&waiting, SIGPIPE) == 0;
        if (!m_active) return;
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_previous);
    }
    ~BrokenPipeShield() {
        if (!m_active) return;
        constexpr timespec kNoWait{};
        while (sigtimedwait(&m_pipe, nullptr, &kNoWait) == -1 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }
    BrokenPipeShield(const BrokenPipeShield&) = delete;
    BrokenPipeShield& operator=(const BrokenPipeShield&) = delete;

private:
    sigset_t m_pipe{}, m_previous{};
    bool m_active = false;
};

/// Writes a message after whatever the host has buffered there, and flushes it. Errors are ignored, and
/// a closed pipe does not raise SIGPIPE: a diagnostic never harms the host.
void writeToStandardOutput(std::string_view message) {
    if (!s_isWanted) return;
    const int saved = errno;
    {
        const BrokenPipeShield shield;
        std::fwrite(message.data(), 1, message.size(), stdout);
        // What a closed pipe did not take would be tried again, unshielded, when the process exits.
        if (std::fflush(stdout) != 0 && errno == EPIPE) __fpurge(stdout);
    }
    errno = saved;
}

}  // namespace

void TraceOut(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = brisko::formatTextV(format, arguments);
    va_end(arguments);
    writeToStandardOutput(text);
}

void FormatString(std::string& out, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    out = brisko::formatTextV(format, arguments);
    va_end(arguments);
}

void TraceBuffer::flush() {
    if (!m_text.empty()) writeToStandardOutput(m_text);
    m_text.clear();
}

}  // namespace QelPcpLib

void brisko::setTraceOutput(bool isWanted) {
    QelPcpLib::s_isWanted = isWanted;
}
