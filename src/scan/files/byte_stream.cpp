#include "scan/files/byte_stream.h"

#include <algorithm>

namespace brisko::scan {

const std::uint8_t* ByteStream::peek(std::size_t size) {
    if (size > left()) return nullptr;
    const bool inside =
        m_offset >= m_bufferStart && m_offset - m_bufferStart + size <= m_bufferSize;
    if (!inside) {
        m_bufferStart = m_offset;
        m_bufferSize = static_cast<std::size_t>(std::min<std::uint64_t>(kMost, left()));
        m_buffer.resize(m_bufferSize + kSlack);
        m_file.readAt(m_offset, m_buffer.data(), m_bufferSize);
    }
    return m_buffer.data() + (m_offset - m_bufferStart);
}

}  // namespace brisko::scan
