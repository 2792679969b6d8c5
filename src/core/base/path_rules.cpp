#include "base/path_rules.h"

#include "base/text.h"

#include <algorithm>

namespace brisko {

namespace {

constexpr std::size_t kExtension = 4;
constexpr std::string_view kSeriesStart = "_000";

std::string seriesPrefix(std::string_view base) {
    return std::string(base.substr(0, base.size() - kSeriesStart.size()));
}

}  // namespace

std::string_view lastFour(std::string_view path) {
    return path.substr(path.size() - std::min(path.size(), kExtension));
}

std::string withoutLastFour(std::string_view path) {
    return std::string(path.substr(0, path.size() - lastFour(path).size()));
}

bool isCL3Name(std::string_view path) {
    const std::string_view extension = lastFour(path);
    return extension == ".cl3" || extension == ".CL3";
}

bool isCLRName(std::string_view path) {
    const std::string_view extension = lastFour(path);
    return extension == ".clr" || extension == ".CLR";
}

bool isIndexBase(std::string_view base) {
    return base.ends_with("_index") || base.ends_with("_INDEX");
}

bool isSeriesStart(std::string_view base) {
    return base.ends_with(kSeriesStart);
}

std::string seriesMember(std::string_view base, unsigned n) {
    return seriesPrefix(base) + formatText("_%03u.clr", n);
}

std::string seriesMerge(std::string_view base, unsigned n) {
    return seriesPrefix(base) + (n % 2 == 1 ? ".clr" : "m.clr");
}

}  // namespace brisko
