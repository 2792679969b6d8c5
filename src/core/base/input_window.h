#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

namespace brisko {

/// Reads a file from front to back through one large buffer, no larger than the file, and hands out
/// the bytes where they lie.
class InputWindow {
public:
    /// capacity: the most bytes that can be asked for at once. `slack` more bytes behind those at
    /// hand may be read (their values mean nothing).
    InputWindow(std::FILE* file, std::size_t capacity, std::size_t slack = 0);

    std::size_t capacity() const { return m_capacity; }

    /// The bytes at hand: at least `wanted`, fewer only at the end of the file. They may be changed
    /// in place, and hold until the next call.
    std::span<std::uint8_t> atLeast(std::size_t wanted);
    /// Passes over bytes that are at hand.
    void skip(std::size_t size) { m_first += size; }

    /// The offset in the file of the first byte at hand.
    std::uint64_t position() const { return m_end - (m_last - m_first); }
    std::uint64_t fileSize() const { return m_fileSize; }
    /// Whether bytes could not be read that the file had when the window was made.
    bool failed() const { return m_failed; }

private:
    void refill();

    std::FILE* m_file;
    std::uint64_t m_fileSize;
    std::size_t m_capacity;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_first = 0, m_last = 0;  // the bytes at hand
    std::uint64_t m_end = 0;              // offset in the file behind them
    bool m_failed = false;
};

}  // namespace brisko
