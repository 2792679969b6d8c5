#include "pcplib/files/trace.h"

#include "base/standard_output.h"
#include "base/text.h"

#include <cstdarg>

namespace QelPcpLib {

void TraceOut(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = brisko::formatTextV(format, arguments);
    va_end(arguments);
    brisko::writeToStandardOutput(text);
}

void FormatString(std::string& out, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    out = brisko::formatTextV(format, arguments);
    va_end(arguments);
}

void TraceBuffer::flush() {
    if (!m_text.empty()) brisko::writeToStandardOutput(m_text);
    m_text.clear();
}

}  // namespace QelPcpLib
