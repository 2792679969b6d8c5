#include "base/input_window.h"

#include "base/file.h"

#include <algorithm>
#include <cstring>

namespace brisko {

InputWindow::InputWindow(std::FILE* file, std::size_t capacity, std::size_t slack)
    : m_file(file),
      m_fileSize(fileLength(file, &m_errors)),
      m_capacity(static_cast<std::size_t>(std::min<std::uint64_t>(capacity, m_fileSize))),
      m_buffer(std::make_unique<std::uint8_t[]>(m_capacity + slack)) {
}

void InputWindow::refill() {
    if (m_end >= m_fileSize) return;
    std::memmove(m_buffer.get(), m_buffer.get() + m_first, m_last - m_first);
    m_last -= m_first;
    m_first = 0;
    const std::size_t room = m_capacity - m_last;
    const std::size_t got = readAt(m_file, m_end, m_buffer.get() + m_last, room, &m_errors);
    m_last += got;
    m_end += got;
    if (got < room && m_end < m_fileSize) m_errors.note();
}

}  // namespace brisko
