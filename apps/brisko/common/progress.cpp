#include "common/progress.h"

#include "common/json.h"
#include "common/message.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>

namespace brisko::tool {
namespace {

double rate(const ProgressState& state) {
    return state.seconds > 0 ? static_cast<double>(state.done) / state.seconds : 0;
}

/// Steps may turn out to be more than announced; more than everything is never shown.
double fraction(const ProgressState& state) {
    if (state.total == 0) return 0;
    return std::min(1.0, static_cast<double>(state.done) / static_cast<double>(state.total));
}

std::string percent(const ProgressState& state) {
    return std::to_string(static_cast<int>(100 * fraction(state))) + " %";
}

std::string rateText(const ProgressState& state) {
    return shortCount(rate(state)) + " " + state.unit + "/s";
}

std::string labelOf(const ProgressState& state) {
    if (state.fileCount == 0) return state.label;
    const std::string name = state.file.substr(state.file.find_last_of('/') + 1);
    return state.label + " " + std::to_string(state.fileNumber) + " of " +
           std::to_string(state.fileCount) + (name.empty() ? "" : ", " + printable(name));
}

/// At most so many bytes, and no part of a character.
void cutTo(std::string& line, std::size_t width) {
    if (line.size() <= width) return;
    const auto isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
    while (width > 0 && isContinuation(line[width]))
        --width;
    line.resize(width);
}

/// Empty while nothing is known.
std::string timeLeft(const ProgressState& state) {
    const double share = fraction(state);
    if (share <= 0) return "";
    return clockTime(state.seconds * (1 - share) / share) + " left";
}

}  // namespace

std::string shortCount(double count) {
    constexpr const char* kPrefixes[] = {"", " k", " M", " G", " T"};
    std::size_t prefix = 0;
    while (count >= 999.5 && prefix + 1 < std::size(kPrefixes)) {
        count /= 1000;
        ++prefix;
    }
    char text[32];
    std::snprintf(text, sizeof text, prefix == 0 || count >= 99.95 ? "%.0f%s" : "%.1f%s", count,
                  kPrefixes[prefix]);
    return text;
}

std::string clockTime(double seconds) {
    constexpr double kLongest = 359999;  // 99:59:59
    const long whole = std::lround(std::clamp(seconds, 0.0, kLongest));
    char text[32];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    }
    return text;
}

std::string barLine(const ProgressState& state, std::size_t width) {
    std::string tail = "  " + rateText(state);
    if (state.total > 0) tail = "  " + percent(state) + tail;
    const std::string left = timeLeft(state);
    if (!left.empty()) tail += "  " + left;

    std::string line = labelOf(state);
    constexpr std::size_t kShortestBar = 10;
    constexpr std::size_t kLongestBar = 40;
    constexpr std::size_t kFrame = 4;  // blank blank [ ]
    const std::string stage = state.stage.empty() ? "" : "  " + state.stage;
    if (line.size() + tail.size() + stage.size() + kFrame + kShortestBar <= width) tail += stage;
    const std::size_t used = line.size() + tail.size() + kFrame;
    if (state.total > 0 && used + kShortestBar <= width) {
        const std::size_t bar = std::min(width - used, kLongestBar);
        const auto full = static_cast<std::size_t>(fraction(state) * static_cast<double>(bar));
        line += "  [" + std::string(full, '#') + std::string(bar - full, '.') + "]";
    }
    line += tail;
    cutTo(line, width);
    return line;
}

std::string plainLine(const ProgressState& state) {
    if (state.finished) {
        return labelOf(state) + ": done in " + clockTime(state.seconds) + ", " + rateText(state);
    }
    std::string line = labelOf(state) + ": ";
    if (state.total > 0) {
        line += percent(state);
    } else {
        line += shortCount(static_cast<double>(state.done)) + " " + state.unit;
    }
    line += ", " + rateText(state);
    const std::string left = timeLeft(state);
    if (!left.empty()) line += ", " + left;
    return state.stage.empty() ? line : line + ", " + state.stage;
}

std::string jsonLine(const ProgressState& state) {
    nlohmann::ordered_json line;
    line["progress"] = state.label;
    if (state.fileCount > 0) {
        line["file"] = state.file;
        line["number"] = state.fileNumber;
        line["of"] = state.fileCount;
    }
    if (!state.stage.empty()) line["stage"] = state.stage;
    line["unit"] = state.unit;
    line["done"] = state.done;
    line["total"] = nullptr;
    if (state.total > 0) line["total"] = state.total;
    line["seconds"] = std::round(state.seconds * 1000) / 1000;
    line["finished"] = state.finished;
    return jsonText(line, -1);
}

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
