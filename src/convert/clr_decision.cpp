#include "convert/clr_decision.h"

#include "layouts/layout.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace brisko {

namespace {

constexpr std::size_t kModelLength = 7;
constexpr std::string_view kFirstKind = "RVX2000";
constexpr std::string_view kSecondKind[] = {"RXL1000", "QLDStat", "QLD-Sta", "RV-1003"};

/// Deliberate: the first kind never comes here to be indexed from a plain scan, all others do.
ClrRoute routeByBlocks(std::uint32_t blockCount) {
    if (blockCount == 0) return ClrRoute::Nothing;
    return blockCount == 1 ? ClrRoute::ThroughCL3 : ClrRoute::SortedThroughCL3;
}

}  // namespace

ClrRoute chooseRoute(const std::string& modelName, std::uint8_t pointFormat,
                     std::uint32_t blockCount) {
    const std::string_view model = std::string_view(modelName).substr(0, kModelLength);
    // Where all lines run the same way one pass is enough.
    const CLRPointFormat format{pointFormat};
    if (model == kFirstKind) {
        if (format == CLRPointFormat::OneWay) return ClrRoute::OnePassUnjudged;
        return isKnown(format) ? ClrRoute::OnePassByPoints : ClrRoute::Nothing;
    }
    const bool isSecondKind =
        std::find(std::begin(kSecondKind), std::end(kSecondKind), model) != std::end(kSecondKind);
    if (isSecondKind && format == CLRPointFormat::OneWay) return ClrRoute::OnePass;
    return routeByBlocks(blockCount);
}

}  // namespace brisko
