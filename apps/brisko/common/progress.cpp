#include "common/progress.h"

#include "common/failure.h"
#include "common/message.h"
#include "common/progress_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>

namespace brisko::tool {
namespace {

// Set by a signal, read by any thread.
std::atomic<bool> interruptAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void askToStop(int) {
    interruptAsked = true;
    // From here on the signals do what they do by default: the next one kills.
    for (const int signal : kStopSignals)
        std::signal(signal, SIG_DFL);
}

ProgressStyle onThisTerminal(ProgressStyle style) {
    if (style != ProgressStyle::Auto) return style;
    return isatty(STDERR_FILENO) ? ProgressStyle::Auto : ProgressStyle::Plain;
}

std::size_t terminalWidth() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 79;
    return size.ws_col - 1u;  // the last column would make some terminals wrap
}

/// Seconds between two updates.
double interval(ProgressStyle style) {
    switch (style) {
        case ProgressStyle::Auto:
            return 0.2;
        case ProgressStyle::Json:
            return 1;
        default:
            return 5;
    }
}

constexpr double kSilence = 1;  // seconds

}  // namespace

class Progress::Display {
public:
    Display(ProgressStyle style, const ProgressTask& task, std::uint64_t total,
            const std::string& unit)
        : m_style(onThisTerminal(style)), m_exceptions(std::uncaught_exceptions()) {
        m_state.label = printable(task.name);
        if (task.count > 1) {
            m_state.fileNumber = task.number;
            m_state.fileCount = task.count;
            m_state.file = task.file;
        }
        m_state.unit = unit;
        m_state.total = total;
    }

    void advanceTo(std::uint64_t done) {
        if (m_style == ProgressStyle::None) return;
        m_state.done = done;
        m_state.seconds = secondsSinceStart();
        if (m_state.seconds < m_nextUpdate) return;
        show();
        m_nextUpdate = m_state.seconds + interval(m_style);
        m_shown = true;
    }

    void setStage(const std::string& stage) { m_state.stage = stage; }

    void end() {
        if (!m_shown) return;
        if (m_style == ProgressStyle::Auto) {
            std::fputs("\r\033[K", stderr);
            return;
        }
        if (std::uncaught_exceptions() > m_exceptions) return;  // it did not come to an end
        m_state.finished = true;
        m_state.seconds = secondsSinceStart();
        show();
    }

private:
    double secondsSinceStart() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

    void show() const {
        if (m_style == ProgressStyle::Auto) {
            std::fprintf(stderr, "\r%s\033[K", barLine(m_state, terminalWidth()).c_str());
        } else if (m_style == ProgressStyle::Json) {
            std::fprintf(stderr, "%s\n", jsonLine(m_state).c_str());
        } else {
            std::fprintf(stderr, "%s\n", plainLine(m_state).c_str());
        }
        std::fflush(stderr);
    }

    ProgressStyle m_style;
    int m_exceptions;
    ProgressState m_state;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    double m_nextUpdate = kSilence;
    bool m_shown = false;
};

bool showsBar(ProgressStyle style) {
    return onThisTerminal(style) == ProgressStyle::Auto;
}

Progress::Progress(ProgressStyle style, const ProgressTask& task, std::uint64_t total,
                   const std::string& unit)
    : m_display(std::make_unique<Display>(style, task, total, unit)) {
}

Progress::~Progress() {
    m_display->end();
}

void Progress::advanceTo(std::uint64_t done) {
    throwIfInterrupted();
    m_display->advanceTo(done);
}

void Progress::setStage(const std::string& stage) {
    m_display->setStage(stage);
}

void installInterruptHandler() {
    for (const int signal : kStopSignals) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;  // started with nohup, or in the background
        action.sa_handler = askToStop;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(signal, &action, nullptr);
    }
}

bool isInterrupted() {
    return interruptAsked;
}

void throwIfInterrupted() {
    if (isInterrupted()) throw Interrupted{};
}

}  // namespace brisko::tool
