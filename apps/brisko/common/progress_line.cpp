#include "common/progress_line.h"

#include "common/json_text.h"
#include "common/message.h"

#include <algorithm>
#include <cmath>
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

}  // namespace brisko::tool
