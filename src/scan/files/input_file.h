#pragma once

#include "base/file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan {

/// A file that is read by this library itself: from its beginning to its end in large blocks, or small pieces anywhere.
/// Every failure of the system is a ScanError(Damaged) with the file's name.
class InputFile {
public:
    explicit InputFile(const std::string& path);

    const std::string& path() const { return m_path; }
    std::uint64_t size() const { return m_size; }

    /// The next bytes, fewer than asked for only at the end of the file.
    std::size_t read(void* out, std::size_t size);
    /// The bytes at an offset; false when the file ends before the last of them. Neighbouring
    /// pieces come from one buffer.
    bool readAt(std::uint64_t offset, void* out, std::size_t size);

private:
    std::size_t readFrom(std::uint64_t offset, void* out, std::size_t size);

    std::string m_path;
    FilePtr m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
    std::vector<std::uint8_t> m_window;  // of readAt
    std::uint64_t m_windowStart = 0;
};

/// Walks through a file from its beginning to its end in large reads, with a jump now and then. It is
/// a source of findPiece (layouts/compressed_lines.h).
class ByteStream {
public:
    ///   atOnce  bytes of a read, where no more of them are asked for at once
    explicit ByteStream(const std::string& path, std::size_t atOnce = kMost)
        : m_file(path), m_atOnce(atOnce) {}

    std::uint64_t offset() const { return m_offset; }
    std::uint64_t size() const { return m_file.size(); }
    std::uint64_t left() const { return m_offset < size() ? size() - m_offset : 0; }
    void seek(std::uint64_t offset) { m_offset = offset; }
    /// From here on no more is read at once than up to an offset, or than is asked for.
    void readUpTo(std::uint64_t end) { m_readEnd = end; }

    /// Bytes from the place on, without moving on; null when the file ends before the last of them.
    /// They stay until the next call. At most kMost of them.
    const std::uint8_t* peek(std::size_t size);
    /// The same, and the place is then after them.
    const std::uint8_t* take(std::size_t size) {
        const std::uint8_t* const bytes = peek(size);
        if (bytes) m_offset += size;
        return bytes;
    }

    /// All bytes at hand from the place on, without moving on: at least `size`, fewer only at the end of
    /// the file.
    std::span<const std::uint8_t> atLeast(std::size_t size) {
        const std::uint8_t* const bytes = peek(std::min<std::uint64_t>(size, left()));
        return {bytes, static_cast<std::size_t>(m_bufferStart + m_bufferSize - m_offset)};
    }
    std::uint64_t position() const { return m_offset; }
    static constexpr bool failed() { return false; }  // what cannot be read was thrown

    static constexpr std::size_t kMost = 1 << 20;
    /// After the bytes at hand so many more may be looked at, whatever they hold.
    static constexpr std::size_t kSlack = 1 << 13;

private:
    InputFile m_file;
    std::vector<std::uint8_t> m_buffer;  // the bytes at hand, and the slack
    std::uint64_t m_bufferStart = 0;     // in the file
    std::size_t m_bufferSize = 0;        // without the slack
    std::uint64_t m_offset = 0;
    std::size_t m_atOnce;
    std::uint64_t m_readEnd = ~std::uint64_t{0};
};

}  // namespace brisko::scan
