#include "pcplib/files/trace_buffer.h"

#include "base/standard_output.h"

namespace QelPcpLib {

TraceBuffer::~TraceBuffer() {
    flush();
}

void TraceBuffer::flush() {
    if (!m_text.empty()) brisko::writeToStandardOutput(m_text);
    m_text.clear();
}

}  // namespace QelPcpLib
