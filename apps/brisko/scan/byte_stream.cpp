#include "scan/byte_stream.h"

#include "common/failure.h"

#include <algorithm>

namespace brisko::tool {

const std::uint8_t* ByteStream::peek(std::size_t size) {
    if (size > left()) return nullptr;
    const bool inside =
        m_offset >= m_bufferStart && m_offset - m_bufferStart + size <= m_buffer.size();
    if (!inside) {
        m_buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kMost, left())));
        m_bufferStart = m_offset;
        if (!m_file.readAt(m_offset, m_buffer.data(), m_buffer.size())) {
            throw Failure(ExitCode::Damaged,
                          m_file.path() + ": it became shorter while it was read");
        }
    }
    return m_buffer.data() + (m_offset - m_bufferStart);
}

}  // namespace brisko::tool
