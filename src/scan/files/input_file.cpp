#include "scan/files/input_file.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace brisko::scan {
namespace {

constexpr std::size_t kWindow = 4096;  // bytes

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw ScanError(ErrorKind::Damaged, path, "cannot be read: " + reason);
}

}  // namespace

InputFile::InputFile(const std::string& path) : m_path(path), m_file(openFile(path.c_str(), "rb")) {
    if (!m_file) {
        const bool isOther = fileExists(path) && (errno == EINVAL || errno == EISDIR);
        fail(path, isOther ? "it is not a file" : std::strerror(errno));
    }
    errno = 0;
    m_size = fileLength(m_file.get());
    if (m_size == 0 && errno != 0) fail(path, std::strerror(errno));
}

std::size_t InputFile::readFrom(std::uint64_t offset, void* out, std::size_t size) {
    errno = 0;
    const std::size_t got = brisko::readAt(m_file.get(), offset, out, size);
    const std::uint64_t left = offset < m_size ? m_size - offset : 0;
    if (got < std::min<std::uint64_t>(size, left)) {
        fail(m_path, errno != 0 ? std::strerror(errno) : "it became shorter while it was read");
    }
    return got;
}

std::size_t InputFile::read(void* out, std::size_t size) {
    const std::size_t got = readFrom(m_position, out, size);
    m_position += got;
    return got;
}

bool InputFile::readAt(std::uint64_t offset, void* out, std::size_t size) {
    if (offset > m_size || size > m_size - offset) return false;
    if (size > kWindow) return readFrom(offset, out, size) == size;
    const bool inside = offset >= m_windowStart && offset - m_windowStart <= m_window.size() &&
                        size <= m_window.size() - (offset - m_windowStart);
    if (!inside) {
        m_window.resize(kWindow);
        m_window.resize(readFrom(offset, m_window.data(), kWindow));
        m_windowStart = offset;
        if (m_window.size() < size) return false;
    }
    std::memcpy(out, m_window.data() + (offset - m_windowStart), size);
    return true;
}

const std::uint8_t* ByteStream::peek(std::size_t size) {
    if (size > left()) return nullptr;
    const bool inside =
        m_offset >= m_bufferStart && m_offset - m_bufferStart + size <= m_bufferSize;
    if (!inside) {
        m_bufferStart = m_offset;
        const std::uint64_t ahead = m_readEnd > m_offset ? m_readEnd - m_offset : 0;
        const std::uint64_t wanted =
            std::max<std::uint64_t>(std::min<std::uint64_t>(ahead, m_atOnce), size);
        m_bufferSize = static_cast<std::size_t>(std::min(wanted, left()));
        m_buffer.resize(m_bufferSize + kSlack);
        m_file.readAt(m_offset, m_buffer.data(), m_bufferSize);
    }
    return m_buffer.data() + (m_offset - m_bufferStart);
}

}  // namespace brisko::scan
