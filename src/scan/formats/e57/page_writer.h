#pragma once

#include "scan/files/named_output.h"
#include "scan/formats/e57/e57_layout.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// Writes content as pages with their checksums. What is to be completed later is held: its pages stay in
/// memory, too.
class PageWriter {
public:
    /// Throws ScanError(NotWritten), as all calls do.
    PageWriter(const std::string& path, const std::string& shownPath);

    /// Where the next byte goes, logical.
    std::uint64_t position() const { return m_flushed + m_used; }
    void write(const void* bytes, std::size_t size);
    /// Zeros up to the next multiple of 4, where sections begin.
    void align();

    /// Zeros that can be replaced until close(). Returns where they are.
    std::uint64_t hold(std::size_t size);
    void replace(std::uint64_t logical, const std::uint8_t* bytes, std::size_t size);

    /// The length that the file will have when nothing more is written, bytes.
    std::uint64_t fileBytes() const { return (position() + kContent - 1) / kContent * kPage; }
    void close();

    /// A number that stands for all that was written so far: other content, another number.
    std::uint64_t digest() const;

private:
    static constexpr std::size_t kPages = 64;  // of one write
    using Page = std::array<std::uint8_t, kPage>;

    void flush();

    NamedOutput m_file;
    std::vector<std::uint8_t> m_pages;     // as they will lie in the file
    std::uint64_t m_flushed = 0;           // content written
    std::size_t m_used = 0;                // content in m_pages
    std::map<std::uint64_t, Page> m_held;  // by the page's number
    std::uint64_t m_digest = 0;            // of the pages written
};

}  // namespace brisko::scan::e57
