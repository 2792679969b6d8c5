#include "convert/grid_window.h"

#include "common/failure.h"

#include <charconv>
#include <string_view>

namespace brisko::tool {
namespace {

/// An empty text leaves the number as it is.
bool parseNumber(std::string_view text, std::uint32_t& number) {
    if (text.empty()) return true;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end;
}

}  // namespace

void parseRange(const std::string& text, const std::string& option, std::uint32_t cells,
                std::uint32_t& first, std::uint32_t& end) {
    first = 0;
    end = cells;
    const std::size_t colon = text.find(':');
    const bool isRange = colon != std::string::npos && text.size() > 1 &&
                         parseNumber(std::string_view(text).substr(0, colon), first) &&
                         parseNumber(std::string_view(text).substr(colon + 1), end);
    if (!isRange) {
        throw Failure(ExitCode::Usage, option + " " + text + ": a range like 100:200 is expected");
    }
    if (first >= end || end > cells) {
        throw Failure(ExitCode::Usage, option + " " + text +
                                           ": the range must hold something and lie inside 0:" +
                                           std::to_string(cells));
    }
}

}  // namespace brisko::tool
