#include "common/options.h"

#include <charconv>
#include <cmath>
#include <string>

namespace brisko::tool {
namespace {

std::string shortText(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/// Why a text is no number of a range; empty where it is one.
std::string refusal(const std::string& text, const NumberRange& range) {
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    double number = 0;
    const auto [stop, error] = std::from_chars(begin, end, number);
    if (error != std::errc{} || stop != end || std::isnan(number)) return "not a number";
    const bool isNegative = std::signbit(number) && range.lowest >= 0;
    if (number < range.lowest || isNegative) return "less than " + shortText(range.lowest);
    if (number <= range.highest) return {};
    const bool isUnlimited = range.highest == std::numeric_limits<double>::max();
    return isUnlimited ? "not a finite number" : "more than " + shortText(range.highest);
}

}  // namespace

CLI::Option* takeNumbers(CLI::Option* option, const NumberRange& range) {
    return option->check([option, range](const std::string& text) -> std::string {
        const std::string reason = refusal(text, range);
        if (reason.empty()) return {};
        throw CLI::ValidationError(option->get_name() + " " + text + ": " + reason);
    });
}

}  // namespace brisko::tool
