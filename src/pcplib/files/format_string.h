#pragma once

#include <string>

namespace QelPcpLib {

/// printf into a string, in the "C" locale and at any length. Lines of text files are made with it.
__attribute__((format(printf, 2, 3))) void FormatString(std::string& out, const char* format, ...);

}  // namespace QelPcpLib
