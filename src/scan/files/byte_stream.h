#pragma once

#include "scan/files/input_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::scan {

/// Walks through a file from front to back in large reads, with a jump now and then.
class ByteStream {
public:
    explicit ByteStream(const std::string& path) : m_file(path) {}

    std::uint64_t offset() const { return m_offset; }
    std::uint64_t size() const { return m_file.size(); }
    std::uint64_t left() const { return m_offset < size() ? size() - m_offset : 0; }
    void seek(std::uint64_t offset) { m_offset = offset; }

    /// Bytes from the place on, without moving on; null when the file ends before the last of them.
    /// They stay until the next call. At most kMost of them.
    const std::uint8_t* peek(std::size_t size);
    /// The same, and the place is then behind them.
    const std::uint8_t* take(std::size_t size) {
        const std::uint8_t* const bytes = peek(size);
        if (bytes) m_offset += size;
        return bytes;
    }

    static constexpr std::size_t kMost = 1 << 20;

private:
    InputFile m_file;
    std::vector<std::uint8_t> m_buffer;
    std::uint64_t m_bufferStart = 0;
    std::uint64_t m_offset = 0;
};

}  // namespace brisko::scan
