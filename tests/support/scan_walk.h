#pragma once

#include <string>

namespace brisko::test {

/// What is wrong with a native scan and its index, found by a slow walk that follows docs/formats and
/// shares nothing with the library. Empty for a sound one.
///   path  ends in .cl3 or .clr; an .ij beside a .cl3 is walked too
std::string damageOf(const std::string& path);

}  // namespace brisko::test
