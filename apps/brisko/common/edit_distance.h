#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brisko::tool {

/// The name that a mistyped one was meant to be: the one with the fewest letters wrong, missing, too
/// many or swapped, or the only one that it begins. Empty where none is near.
std::string nearestName(std::string_view typed, const std::vector<std::string>& names);

}  // namespace brisko::tool
