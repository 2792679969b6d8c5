#pragma once

#include "base/output_file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace brisko::scan {

/// An output file whose failures are ScanErrors (NotWritten) that name the output.
class NamedOutput {
public:
    /// path: where to write; shownPath: how messages name it (the output, not its staged name).
    NamedOutput(const std::string& path, const std::string& shownPath);

    void write(const void* bytes, std::size_t size);
    void write(std::string_view text) { write(text.data(), text.size()); }

    /// Room for `size` bytes (at most OutputFile::kReserve) to be filled in place; giveBack() takes back
    /// what was not needed. Errors show in require().
    char* reserve(std::size_t size) { return reinterpret_cast<char*>(m_file.reserve(size)); }
    void giveBack(std::size_t size) { m_file.giveBack(size); }
    /// Throws where something was not written.
    void require() const {
        if (m_file.failed()) fail();
    }

    /// Bytes written so far.
    std::uint64_t size() const { return m_file.position(); }
    /// Replaces bytes that were written before.
    void overwrite(std::uint64_t offset, std::string_view text);
    /// Completes the file and compares its length with what was written.
    void close();

private:
    [[noreturn]] void fail() const;

    std::string m_path, m_shownPath;
    OutputFile m_file;
};

}  // namespace brisko::scan
