#include "common/output_file.h"

#include "common/failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace brisko::tool {
namespace {

constexpr std::size_t kBuffer = 1 << 20;  // bytes

}  // namespace

OutputFile::OutputFile(const std::string& path, const std::string& shownPath)
    : m_shownPath(shownPath), m_buffer(std::make_unique_for_overwrite<char[]>(kBuffer)) {
    m_file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (m_file < 0) fail(std::strerror(errno));
}

OutputFile::~OutputFile() {
    if (m_file >= 0) ::close(m_file);
}

void OutputFile::fail(const std::string& reason) const {
    throw Failure(ExitCode::NotWritten, m_shownPath + ": cannot be written: " + reason);
}

void OutputFile::writeFully(const char* bytes, std::size_t size, std::uint64_t offset) {
    while (size > 0) {
        const ssize_t put = pwrite(m_file, bytes, size, static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) fail(std::strerror(errno));
        bytes += put;
        size -= static_cast<std::size_t>(put);
        offset += static_cast<std::uint64_t>(put);
    }
}

void OutputFile::flush() {
    writeFully(m_buffer.get(), m_used, m_flushed);
    m_flushed += m_used;
    m_used = 0;
}

void OutputFile::write(const void* bytes, std::size_t size) {
    if (size > kBuffer - m_used) flush();
    if (size > kBuffer) {
        writeFully(static_cast<const char*>(bytes), size, m_flushed);
        m_flushed += size;
        return;
    }
    std::memcpy(m_buffer.get() + m_used, bytes, size);
    m_used += size;
}

char* OutputFile::reserve(std::size_t size) {
    if (size > kBuffer - m_used) flush();
    return m_buffer.get() + m_used;
}

void OutputFile::overwrite(std::uint64_t offset, std::string_view bytes) {
    flush();
    writeFully(bytes.data(), bytes.size(), offset);
}

void OutputFile::close() {
    flush();
    struct stat status {};
    if (fstat(m_file, &status) != 0) fail(std::strerror(errno));
    if (static_cast<std::uint64_t>(status.st_size) != m_flushed) {
        fail("its length on the disk is not what was written");
    }
    const int file = m_file;
    m_file = -1;
    if (::close(file) != 0) fail(std::strerror(errno));
}

}  // namespace brisko::tool
