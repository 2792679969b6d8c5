#include "base/output_file.h"

#include <algorithm>
#include <array>
#include <new>

namespace brisko {

bool OutputFile::create(const char* path) {
    close();
    m_used = 0;
    m_onDisk = 0;
    m_failed = false;
    if (!m_buffer) {
        m_buffer = std::make_unique_for_overwrite<std::uint8_t[]>(kFirstBuffer);
        m_capacity = kFirstBuffer;
    }
    m_file = openFile(path, "wb");
    if (m_file) std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    return isOpen();
}

bool OutputFile::close() {
    if (!m_file) return false;
    flush();
    if (!closeFile(std::move(m_file))) m_failed = true;
    return !m_failed;
}

void OutputFile::writeOut(std::span<const std::uint8_t> bytes) {
    if (m_failed || !m_file) return;
    const std::size_t written = writeAt(m_file.get(), m_onDisk, bytes);
    m_onDisk += written;
    if (written < bytes.size()) m_failed = true;
}

/// Makes room by writing the buffer out, and from then on with a large one; where there is no memory
/// for that, the small one goes on.
void OutputFile::spill() {
    flush();
    if (m_capacity == kBuffer) return;
    if (auto* const larger = new (std::nothrow) std::uint8_t[kBuffer]) {
        m_buffer.reset(larger);
        m_capacity = kBuffer;
    }
}

void OutputFile::flush() {
    if (m_used > 0) writeOut({m_buffer.get(), m_used});
    m_used = 0;
}

void OutputFile::append(std::span<const std::uint8_t> bytes) {
    if (m_failed) return;
    if (m_used + bytes.size() > m_capacity) spill();
    if (bytes.size() > m_capacity || bytes.size() >= kBuffer / 2) {
        flush();
        writeOut(bytes);
        return;
    }
    if (m_failed) return;
    std::memcpy(m_buffer.get() + m_used, bytes.data(), bytes.size());
    m_used += bytes.size();
}

void OutputFile::appendZeros(std::uint64_t count) {
    static constexpr std::array<std::uint8_t, std::size_t{64} << 10> kZeros{};
    while (count > 0 && !m_failed) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(count, kZeros.size()));
        append({kZeros.data(), part});
        count -= part;
    }
}

void OutputFile::patch(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    if (!m_file) return;
    if (offset >= m_onDisk && offset + bytes.size() <= position()) {
        std::memcpy(m_buffer.get() + (offset - m_onDisk), bytes.data(), bytes.size());
        return;
    }
    flush();
    if (offset + bytes.size() > m_onDisk || writeAt(m_file.get(), offset, bytes) < bytes.size()) {
        m_failed = true;
    }
}

std::FILE* OutputFile::streamAt(std::uint64_t offset) {
    flush();
    if (!m_file) return nullptr;
    if (seekTo(m_file.get(), offset)) return m_file.get();
    m_failed = true;
    return nullptr;
}

void OutputFile::returnStream(std::uint64_t end) {
    if (!m_file) return;
    if (std::ferror(m_file.get()) != 0) {
        m_failed = true;
        std::clearerr(m_file.get());
        end = std::min(end, fileLength(m_file.get()));
    }
    m_onDisk = std::max(m_onDisk, end);
}

}  // namespace brisko
