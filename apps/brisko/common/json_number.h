#pragma once

#include <nlohmann/json.hpp>

namespace brisko::tool {

/// A number for JSON: null where it is not finite.
nlohmann::ordered_json jsonNumber(double value);
/// The same for a float, by its shortest decimal: 0.1, not 0.10000000149.
nlohmann::ordered_json jsonNumber(float value);

}  // namespace brisko::tool
