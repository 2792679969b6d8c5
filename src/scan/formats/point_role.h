#pragma once

#include <cstddef>
#include <string_view>

namespace brisko::scan {

/// What a named number of a point is.
enum class Role { X, Y, Z, Intensity, Red, Green, Blue, Column, Row, Station, Other };
inline constexpr std::size_t kRoles = static_cast<std::size_t>(Role::Other);

/// By the name that a file gives it, in any case: "x", "Red", "diffuse_red", "scalar_Intensity".
Role roleOf(std::string_view name);

}  // namespace brisko::scan
