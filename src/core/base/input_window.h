#pragma once

#include "base/read_errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

namespace brisko {

/// Reads a file from its beginning to its end through one large buffer, no larger than the file, and hands out
/// the bytes where they lie.
class InputWindow {
public:
    /// capacity: the most bytes that can be asked for at once. `slack` more bytes after those at
    /// hand may be read (their values mean nothing).
    InputWindow(std::FILE* file, std::size_t capacity, std::size_t slack = 0);

    std::size_t capacity() const { return m_capacity; }

    /// The bytes at hand: at least `wanted`, fewer only at the end of the file. They may be changed
    /// in place, and hold until the next call.
    std::span<std::uint8_t> atLeast(std::size_t wanted) {
        if (m_last - m_first < wanted) refill();
        return {m_buffer.get() + m_first, m_last - m_first};
    }
    /// Passes over bytes that are at hand.
    void skip(std::size_t size) { m_first += size; }

    /// Goes on at an offset of the file, with no byte at hand.
    void jumpTo(std::uint64_t offset) {
        m_first = m_last = 0;
        m_end = offset;
    }

    /// The offset in the file of the first byte at hand.
    std::uint64_t position() const { return m_end - (m_last - m_first); }
    std::uint64_t fileSize() const { return m_fileSize; }
    /// Whether bytes could not be read that the file had when the window was made, or its length is not
    /// known.
    bool failed() const { return !m_errors.none(); }

private:
    void refill();

    std::FILE* m_file;
    ReadErrors m_errors;
    std::uint64_t m_fileSize;
    std::size_t m_capacity;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_first = 0, m_last = 0;  // the bytes at hand
    std::uint64_t m_end = 0;              // offset in the file after them
};

}  // namespace brisko
