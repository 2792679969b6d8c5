#include "scan/formats/point_role.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace brisko::scan {
namespace {

constexpr struct {
    std::string_view name;
    Role role;
} kNames[] = {
    {"x", Role::X},
    {"y", Role::Y},
    {"z", Role::Z},
    {"i", Role::Intensity},
    {"intensity", Role::Intensity},
    {"r", Role::Red},
    {"red", Role::Red},
    {"diffuse_red", Role::Red},
    {"g", Role::Green},
    {"green", Role::Green},
    {"diffuse_green", Role::Green},
    {"b", Role::Blue},
    {"blue", Role::Blue},
    {"diffuse_blue", Role::Blue},
    {"column", Role::Column},
    {"row", Role::Row},
    {"station", Role::Station},
};

char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

Role roleOf(std::string_view name) {
    constexpr std::string_view kScalar = "scalar_";
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), toLower);
    std::string_view rest = lower;
    // Some programs put it before what they have read with it.
    while (rest.starts_with(kScalar))
        rest.remove_prefix(kScalar.size());
    const auto found = std::find_if(std::begin(kNames), std::end(kNames),
                                    [&](const auto& known) { return known.name == rest; });
    return found == std::end(kNames) ? Role::Other : found->role;
}

}  // namespace brisko::scan
