#include "pcplib/files/format_string.h"

#include "base/text.h"

#include <cstdarg>

namespace QelPcpLib {

void FormatString(std::string& out, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    out = brisko::formatTextV(format, arguments);
    va_end(arguments);
}

}  // namespace QelPcpLib
