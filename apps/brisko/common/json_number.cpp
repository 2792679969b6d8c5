#include "common/json_number.h"

#include <charconv>
#include <cmath>

namespace brisko::tool {

nlohmann::ordered_json jsonNumber(double value) {
    if (!std::isfinite(value)) return nullptr;
    return value;
}

nlohmann::ordered_json jsonNumber(float value) {
    if (!std::isfinite(value)) return nullptr;
    char text[32];
    const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    double shortest = 0;
    std::from_chars(text, end, shortest);
    return shortest;
}

}  // namespace brisko::tool
