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

/// Throws ScanError(Damaged) where an output of a grid would take more bytes than its input gives reason
/// to write (layouts/output_limit.h), ScanError(NotWritten) where the disk has no room for them.
///   leastBytes  what the output takes at least
///   inputBytes  of the input with its companions
void requireReasonableSize(const std::string& input, const std::string& output,
                           unsigned __int128 leastBytes, std::uint64_t inputBytes);

/// What a grid takes at least as an indexed CL3 scan, its points aside: a block header and a part of
/// the index for each of its tiles.
unsigned __int128 leastIndexedBytes(std::uint32_t columns, std::uint32_t rows);

/// The length of a file; 0 where there is none.
std::uint64_t bytesOf(const std::string& path);

}  // namespace brisko::scan
