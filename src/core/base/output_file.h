#pragma once

#include "base/file.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace brisko {

/// A file that is written from front to back through one large buffer, with a few bytes patched
/// later. Remembers its first error: from then on nothing is appended, so that what comes later
/// cannot land in the wrong place when space returns, while patches of bytes already on disk are
/// still tried. Knows how many bytes reached the file.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() { close(); }

    /// Creates (truncates) the file. Returns false with errno set when that fails.
    bool create(const char* path);
    /// Writes what is still in the buffer and closes. Returns false when anything was not written.
    bool close();

    bool isOpen() const { return m_file != nullptr; }
    bool failed() const { return m_failed; }
    /// Where the next byte goes.
    std::uint64_t position() const { return m_onDisk + m_used; }
    /// How many bytes reached the file.
    std::uint64_t onDisk() const { return m_onDisk; }

    void append(std::span<const std::uint8_t> bytes);
    void appendZeros(std::uint64_t count);

    /// Room for the next `size` bytes, at most kReserve, all of which the caller fills. Where
    /// nothing can be written any more they are dropped.
    std::uint8_t* reserve(std::size_t size) {
        if (m_used + size > m_capacity) [[unlikely]]
            spill();
        std::uint8_t* const room = m_buffer.get() + m_used;
        m_used += size;
        return room;
    }
    static constexpr std::size_t kReserve = 4096;
    /// Takes back the end of the last room, of which less was needed.
    void giveBack(std::size_t size) { m_used -= size; }

    /// Replaces bytes that were appended before.
    void patch(std::uint64_t offset, std::span<const std::uint8_t> bytes);

    /// Writes the buffer out.
    void flush();

    /// The stream, flushed and standing at an offset, for objects that write themselves to one.
    /// Call returnStream after it.
    std::FILE* streamAt(std::uint64_t offset);
    /// Takes the stream back; `end` is the position after what it wrote.
    void returnStream(std::uint64_t end);

private:
    // Most files are small; the second buffer is for those that are not.
    static constexpr std::size_t kFirstBuffer = std::size_t{16} << 10;
    static constexpr std::size_t kBuffer = std::size_t{256} << 10;

    void spill();
    void writeOut(std::span<const std::uint8_t> bytes);

    FilePtr m_file;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_capacity = 0;
    std::size_t m_used = 0;
    std::uint64_t m_onDisk = 0;
    bool m_failed = false;
};

}  // namespace brisko
