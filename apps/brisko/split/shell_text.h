#pragma once

#include <string>
#include <utility>
#include <vector>

namespace brisko::tool {

/// A path as one word of a command line for a POSIX shell. Throws ScanError(Request) for one with the end of
/// a line in it, which lists of lines cannot hold.
std::string shellText(const std::string& path);

/// A text with every name replaced by its value; values are not looked at again.
std::string filledIn(const std::string& text,
                     const std::vector<std::pair<std::string, std::string>>& values);

}  // namespace brisko::tool
