#pragma once

#include <cstddef>
#include <string_view>

namespace brisko {

/// Whether the text is UTF-8 in the strict sense: shortest forms only, no surrogates, nothing above
/// U+10FFFF.
bool isUtf8(std::string_view text);

/// Bytes of the well-formed sequence at the start of a text that is not empty; 0 when it begins with
/// none.
std::size_t utf8SequenceLength(std::string_view text);

}  // namespace brisko
