#include "scan/formats/e57/page_reader.h"

#include "scan/formats/e57/crc32c.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cstring>

namespace brisko::scan::e57 {
namespace {

constexpr std::size_t kRead = 256;     // pages of one read
constexpr std::size_t kAtHand = 1024;  // pages kept

}  // namespace

PageReader::PageReader(const std::string& path) : m_file(path) {
}

const std::uint8_t* PageReader::view(std::uint64_t logical, std::size_t size) {
    const std::uint64_t end = this->size();
    if (size > kMost || logical > end || size > end - logical) return nullptr;
    const std::uint64_t start = m_firstPage * kContent;
    if (logical < start || logical + size > start + m_pages * kContent) load(logical / kContent);
    return m_content.data() + (logical - m_firstPage * kContent);
}

/// Brings the pages from one on to hand. Of those that are there already the content moves to the front.
void PageReader::load(std::uint64_t firstPage) {
    const std::uint64_t end = m_file.size() / kPage;
    std::size_t kept = 0;
    if (firstPage >= m_firstPage && firstPage < m_firstPage + m_pages) {
        const auto passed = static_cast<std::size_t>(firstPage - m_firstPage);
        kept = m_pages - passed;
        std::memmove(m_content.data(), m_content.data() + passed * kContent, kept * kContent);
    }
    m_firstPage = firstPage;
    m_pages = kept;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kAtHand, end - firstPage));
    if (m_content.size() < wanted * kContent + kSlack) m_content.resize(wanted * kContent + kSlack);
    while (m_pages < wanted)
        appendPages(firstPage + m_pages, std::min(kRead, wanted - m_pages));
}

void PageReader::appendPages(std::uint64_t firstPage, std::size_t pages) {
    m_raw.resize(kRead * kPage);
    m_file.readAt(firstPage * kPage, m_raw.data(), pages * kPage);
    for (std::size_t i = 0; i < pages; i += 4) {
        const std::uint8_t* const raw = m_raw.data() + i * kPage;
        const std::size_t count = std::min<std::size_t>(4, pages - i);
        std::uint32_t sums[4];
        // After the last pages of a block older bytes lie; their sums are not looked at.
        crc32cOfFour(raw, kContent, kPage, sums);
        for (std::size_t k = 0; k < count; ++k) {
            if (sums[k] != loadChecksum(raw + k * kPage)) failChecksum(firstPage + i + k);
            std::memcpy(m_content.data() + m_pages * kContent, raw + k * kPage, kContent);
            ++m_pages;
        }
    }
}

void PageReader::failChecksum(std::uint64_t page) const {
    throw ScanError(ErrorKind::Damaged, path(), FilePlace{{}, page * kPage},
                    "the page's checksum does not fit its bytes");
}

}  // namespace brisko::scan::e57
