#pragma once

#include "scan/files/named_output.h"
#include "scan/formats/e57/e57_layout.h"

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// Content whose pages are complete with their checksums, but for the first and the last of them, of which others
/// hold the rest. It can be laid out on any thread.
class PageLayout {
public:
    /// logical: where the content goes
    void lay(std::uint64_t logical, std::span<const std::uint8_t> content);

    std::span<const std::uint8_t> head() const { return m_head; }
    std::span<const std::uint8_t> pages() const { return {m_pages.data(), m_size}; }
    std::span<const std::uint8_t> tail() const { return m_tail; }

private:
    std::span<const std::uint8_t> m_head, m_tail;  // of the content
    std::vector<std::uint8_t> m_pages;
    std::size_t m_size = 0;  // of the pages, bytes
};

/// Writes content as pages with their checksums. What is to be completed later is held: its pages stay in
/// memory, too.
class PageWriter {
public:
    /// Throws ScanError(NotWritten), as all calls do.
    PageWriter(const std::string& path, const std::string& shownPath);

    /// Where the next byte goes, logical.
    std::uint64_t position() const { return m_flushed + m_used; }
    void write(const void* bytes, std::size_t size);
    /// The same for what was laid out apart, for the place that it goes to.
    void write(const PageLayout& layout);
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
    void keepHeld(const std::uint8_t* pages, std::size_t count);

    NamedOutput m_file;
    std::vector<std::uint8_t> m_pages;     // as they will lie in the file
    std::uint64_t m_flushed = 0;           // content written
    std::size_t m_used = 0;                // content in m_pages
    std::map<std::uint64_t, Page> m_held;  // by the page's number
    std::uint64_t m_digest = 0;            // of the pages written
};

}  // namespace brisko::scan::e57
