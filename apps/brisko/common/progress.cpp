#include "common/progress.h"

#include "common/exit_code.h"
#include "common/message.h"
#include "common/progress_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>

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

class ProgressDisplay::Line {
public:
    Line(ProgressStyle style, const FileOfSeveral& file) : m_style(onThisTerminal(style)) {
        if (file.count < 2) return;
        m_state.fileNumber = file.number;
        m_state.fileCount = file.count;
        m_state.file = file.file;
    }

    void show(const scan::ProgressUpdate& update) {
        if (m_style == ProgressStyle::None || update.task.empty()) return;
        if (printable(update.task) != m_state.label || m_state.finished) begin(update);
        m_state.done = update.done;
        m_state.stage = update.stage;
        m_state.seconds = secondsSinceStart();
        if (update.isFinished) return finish();
        if (m_state.seconds < m_nextUpdate) return;
        print();
        m_nextUpdate = m_state.seconds + interval(m_style);
        m_shown = true;
    }

    void clear() const {
        if (m_shown && m_style == ProgressStyle::Auto) std::fputs("\r\033[K", stderr);
    }

private:
    void begin(const scan::ProgressUpdate& update) {
        clear();
        m_state.label = printable(update.task);
        m_state.unit = update.unit;
        m_state.total = update.total;
        m_state.finished = false;
        m_start = std::chrono::steady_clock::now();
        m_nextUpdate = kSilence;
        m_shown = false;
    }

    void finish() {
        m_state.finished = true;
        if (m_shown && m_style != ProgressStyle::Auto) print();
        clear();
        m_shown = false;
    }

    double secondsSinceStart() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

    void print() const {
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
    ProgressState m_state;
    std::chrono::steady_clock::time_point m_start;
    double m_nextUpdate = kSilence;
    bool m_shown = false;
};

bool showsBar(ProgressStyle style) {
    return onThisTerminal(style) == ProgressStyle::Auto;
}

ProgressDisplay::ProgressDisplay(ProgressStyle style, const FileOfSeveral& file)
    : m_line(std::make_unique<Line>(style, file)) {
}

ProgressDisplay::~ProgressDisplay() {
    m_line->clear();
}

scan::ProgressFunction ProgressDisplay::function() {
    return [this](const scan::ProgressUpdate& update) {
        if (isInterrupted()) return false;
        m_line->show(update);
        return true;
    };
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
    if (isInterrupted()) throw ScanError(ErrorKind::Cancelled, {}, "cancelled");
}

}  // namespace brisko::tool
