#include "common/edit_distance.h"

#include <algorithm>

namespace brisko::tool {
namespace {

std::size_t distance(std::string_view a, std::string_view b) {
    // Rows of the usual table: two letters ago, one letter ago, now.
    std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), now(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        now[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
            now[j] = std::min({last[j - 1] + wrong, last[j] + 1, now[j - 1] + 1});
            const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (isSwapped) now[j] = std::min(now[j], before[j - 2] + 1);
        }
        std::swap(before, last);
        std::swap(last, now);
    }
    return last[b.size()];
}

}  // namespace

std::string nearestName(std::string_view typed, const std::vector<std::string>& names) {
    constexpr std::size_t kLongest = 64;  // no name is that long
    if (typed.empty() || typed.size() > kLongest) return {};
    const auto begins = [&](const std::string& name) { return name.starts_with(typed); };
    if (typed.size() > 1 && std::count_if(names.begin(), names.end(), begins) == 1) {
        return *std::find_if(names.begin(), names.end(), begins);
    }
    std::string nearest;
    std::size_t least = 2 + typed.size() / 4;  // and fewer
    for (const std::string& name : names) {
        const std::size_t wrong = distance(typed, name);
        if (wrong >= least || wrong >= name.size()) continue;
        least = wrong;
        nearest = name;
    }
    return nearest;
}

}  // namespace brisko::tool
