#pragma once

#include <brisko_scan/text.h>

#include <string>
#include <string_view>

namespace brisko::tool {

using scan::countOf;

/// A text that may come from a file, as it may be shown: control characters, C1 ones too, and bytes
/// that are no UTF-8 become "\x1B". A terminal would obey them, and a reader would take a line that a
/// file made up for one of the tool's.
std::string printable(std::string_view text);

/// A line on standard error: "brisko: ...", why something failed. Messages are shown printable.
void complain(const std::string& text);
/// "brisko: warning: ...", for what the user should know although the work goes on.
void warn(const std::string& text);
/// "brisko: note: ...", for what the user may like to know.
void note(const std::string& text);

/// "99.9 %": a share of something, in tenths and never rounded up: all is 100, and nothing else.
std::string percentOf(unsigned long long part, unsigned long long whole);

}  // namespace brisko::tool
