#pragma once

#include <string_view>

namespace brisko {

/// Whether the text is UTF-8 in the strict sense: shortest forms only, no surrogates, nothing above
/// U+10FFFF.
bool isUtf8(std::string_view text);

}  // namespace brisko
