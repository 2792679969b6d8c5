#pragma once

#include <CLI/CLI.hpp>
#include <limits>

namespace brisko::tool {

/// Which numbers an option takes. Never a NaN.
struct NumberRange {
    double lowest = -std::numeric_limits<double>::infinity();
    double highest = std::numeric_limits<double>::infinity();
};

/// From 0 on, finite; -0 is none of them.
inline constexpr NumberRange kLengths = {0, std::numeric_limits<double>::max()};

/// Lets an option take the numbers of a range. Others are refused in a few words, which name the
/// option and what was given: "--max-distance 5m: not a number".
CLI::Option* takeNumbers(CLI::Option* option, const NumberRange& range);

}  // namespace brisko::tool
