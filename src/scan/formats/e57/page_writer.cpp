#include "scan/formats/e57/page_writer.h"

#include "scan/formats/e57/crc32c.h"
#include "scan/formats/e57/digest.h"

#include <algorithm>
#include <cstring>

namespace brisko::scan::e57 {

namespace {

/// Completes pages. They lie in a buffer with room for a multiple of four.
void storeChecksums(std::uint8_t* pages, std::size_t count) {
    for (std::size_t page = 0; page < count; page += 4) {
        std::uint32_t sums[4];
        crc32cOfFour(pages + page * kPage, kContent, kPage, sums);
        for (std::size_t k = 0; k < std::min<std::size_t>(4, count - page); ++k)
            storeChecksum(pages + (page + k) * kPage, sums[k]);
    }
}

}  // namespace

void PageLayout::lay(std::uint64_t logical, std::span<const std::uint8_t> content) {
    const auto toPage = static_cast<std::size_t>((kContent - logical % kContent) % kContent);
    m_head = content.first(std::min(toPage, content.size()));
    content = content.subspan(m_head.size());
    const std::size_t count = content.size() / kContent;
    m_tail = content.subspan(count * kContent);
    m_size = count * kPage;
    const std::size_t room = (count + 3) / 4 * 4 * kPage;
    if (m_pages.size() < room) m_pages.resize(room);
    for (std::size_t page = 0; page < count; ++page)
        std::memcpy(m_pages.data() + page * kPage, content.data() + page * kContent, kContent);
    storeChecksums(m_pages.data(), count);
}

PageWriter::PageWriter(const std::string& path, const std::string& shownPath)
    : m_file(path, shownPath), m_pages(kPages * kPage) {
}

void PageWriter::write(const void* bytes, std::size_t size) {
    const auto* from = static_cast<const std::uint8_t*>(bytes);
    while (size > 0) {
        const std::size_t page = m_used / kContent, place = m_used % kContent;
        const std::size_t part = std::min<std::size_t>(size, kContent - place);
        std::memcpy(m_pages.data() + page * kPage + place, from, part);
        m_used += part;
        from += part;
        size -= part;
        if (m_used == kPages * kContent) flush();
    }
}

void PageWriter::write(const PageLayout& layout) {
    write(layout.head().data(), layout.head().size());
    if (const std::span<const std::uint8_t> pages = layout.pages(); !pages.empty()) {
        if (m_used > 0) flush();
        const std::size_t count = pages.size() / kPage;
        for (std::size_t page = 0; page < count; ++page)
            m_digest = mixed(m_digest, loadChecksum(pages.data() + page * kPage));
        m_file.write(pages.data(), pages.size());
        keepHeld(pages.data(), count);
        m_flushed += count * kContent;
    }
    write(layout.tail().data(), layout.tail().size());
}

void PageWriter::align() {
    constexpr std::uint8_t kZeros[4] = {};
    write(kZeros, (4 - position() % 4) % 4);
}

std::uint64_t PageWriter::hold(std::size_t size) {
    const std::uint64_t start = position();
    for (std::uint64_t page = start / kContent; page <= (start + size - 1) / kContent; ++page)
        m_held.try_emplace(page);
    const std::vector<std::uint8_t> zeros(size);
    write(zeros.data(), size);
    return start;
}

void PageWriter::replace(std::uint64_t logical, const std::uint8_t* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint64_t at = logical + i;
        if (at >= m_flushed) {
            const std::uint64_t place = at - m_flushed;
            m_pages[place / kContent * kPage + place % kContent] = bytes[i];
        } else {
            m_held.at(at / kContent)[at % kContent] = bytes[i];
        }
    }
}

/// Writes the pages that were begun; a last one that is not full is filled with zeros.
void PageWriter::flush() {
    const std::size_t count = (m_used + kContent - 1) / kContent;
    for (std::size_t at = m_used; at < count * kContent; ++at)
        m_pages[at / kContent * kPage + at % kContent] = 0;
    storeChecksums(m_pages.data(), count);
    for (std::size_t page = 0; page < count; ++page)
        m_digest = mixed(m_digest, loadChecksum(m_pages.data() + page * kPage));
    m_file.write(m_pages.data(), count * kPage);
    keepHeld(m_pages.data(), count);
    m_flushed += count * kContent;
    m_used = 0;
}

/// Of pages that were written just now.
void PageWriter::keepHeld(const std::uint8_t* pages, std::size_t count) {
    const std::uint64_t first = m_flushed / kContent;
    for (auto held = m_held.lower_bound(first); held != m_held.end(); ++held) {
        if (held->first >= first + count) break;
        std::memcpy(held->second.data(), pages + (held->first - first) * kPage, kPage);
    }
}

std::uint64_t PageWriter::digest() const {
    std::uint64_t sum = m_digest;
    for (std::size_t at = 0; at < m_used; at += kContent) {
        const std::size_t size = std::min<std::size_t>(kContent, m_used - at);
        sum = mixed(sum, crc32c(m_pages.data() + at / kContent * kPage, size));
    }
    return mixed(sum, position());
}

void PageWriter::close() {
    if (m_used > 0) flush();
    for (auto& [number, page] : m_held) {
        storeChecksum(page.data(), crc32c(page.data(), kContent));
        m_file.overwrite(number * kPage, {reinterpret_cast<const char*>(page.data()), kPage});
    }
    m_file.close();
}

}  // namespace brisko::scan::e57
