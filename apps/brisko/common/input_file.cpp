#include "common/input_file.h"

#include "common/failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace brisko::tool {
namespace {

constexpr std::size_t kWindow = 4096;  // bytes

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw Failure(ExitCode::Damaged, path + ": cannot be read: " + reason);
}

}  // namespace

InputFile::InputFile(const std::string& path) : m_path(path) {
    // A pipe without a writer would block here for ever; it is refused below.
    m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (m_file < 0) fail(path, std::strerror(errno));
    struct stat status {};
    const bool isFile = fstat(m_file, &status) == 0 && S_ISREG(status.st_mode);
    if (!isFile) {
        close(m_file);
        fail(path, "it is not a file");
    }
    m_size = static_cast<std::uint64_t>(status.st_size);
}

InputFile::~InputFile() {
    close(m_file);
}

std::size_t InputFile::readFrom(std::uint64_t offset, void* out, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = pread(m_file, static_cast<char*>(out) + done, size - done,
                                  static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail(m_path, std::strerror(errno));
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
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

}  // namespace brisko::tool
