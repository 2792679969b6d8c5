#pragma once

#include <string>

namespace brisko::tool {

/// A line on standard error: "brisko: warning: ...", for what the user should know although the
/// work goes on.
void warn(const std::string& text);
/// "brisko: note: ...", for what the user may like to know.
void note(const std::string& text);

/// "1 point", "2 points".
std::string countOf(unsigned long long count, const std::string& thing);

}  // namespace brisko::tool
