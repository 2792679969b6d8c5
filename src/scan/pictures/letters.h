#pragma once

#include <string_view>

namespace brisko::scan {

/// The strokes of a letter: pairs of digits are places, x from 0 to 4 and y from 0 (top of a capital) over
/// 8 (base line) to a (below it); a space ends a stroke. Those of '?' for what has no letter here.
std::string_view strokesOf(char letter);

constexpr int kLetterHeight = 8;   // of a capital, in those units
constexpr int kLetterAdvance = 6;  // from letter to letter

}  // namespace brisko::scan
