#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace brisko::tool {

/// A file that is written by the tool itself, in large blocks. Every failure of the system is a
/// Failure(NotWritten) that names the output.
class OutputFile {
public:
    /// path: where to write; shownPath: how messages name it (the output, not its staged name).
    OutputFile(const std::string& path, const std::string& shownPath);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(const void* bytes, std::size_t size);
    void write(std::string_view text) { write(text.data(), text.size()); }

    /// Room for `size` bytes (at most 64 KiB) to be filled in place; commit() tells how many of
    /// them were.
    char* reserve(std::size_t size);
    void commit(std::size_t size) { m_used += size; }

    /// Bytes written so far.
    std::uint64_t size() const { return m_flushed + m_used; }
    /// Replaces bytes that were written before.
    void overwrite(std::uint64_t offset, std::string_view bytes);

    /// Completes the file and compares its length with what was written.
    void close();

private:
    void flush();
    void writeFully(const char* bytes, std::size_t size, std::uint64_t offset);
    [[noreturn]] void fail(const std::string& reason) const;

    std::string m_shownPath;
    int m_file = -1;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
    std::uint64_t m_flushed = 0;
};

}  // namespace brisko::tool
