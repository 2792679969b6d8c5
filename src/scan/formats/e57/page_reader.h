#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/e57/e57_layout.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// The content of an E57 file, by logical offsets. Each page that is read is verified.
/// Throws ScanError(Damaged) for a wrong checksum, with the page's place.
class PageReader {
public:
    explicit PageReader(const std::string& path);

    const std::string& path() const { return m_file.path(); }
    std::uint64_t fileBytes() const { return m_file.size(); }
    /// Bytes of content; those of a last page that is cut do not count.
    std::uint64_t size() const { return m_file.size() / kPage * kContent; }

    /// Bytes from a logical offset on; null where the content ends before the last of them. They stay
    /// until the next call. At most kMost of them.
    const std::uint8_t* view(std::uint64_t logical, std::size_t size);
    static constexpr std::size_t kMost = std::size_t{128} << 10;
    /// After the bytes asked for so many more may be looked at, whatever they hold.
    static constexpr std::size_t kSlack = 16;

    /// Pages as they lie in the file, not verified: that is up to others.
    void readPages(std::uint64_t firstPage, std::size_t pages, std::uint8_t* out) {
        m_file.readAt(firstPage * kPage, out, pages * kPage);
    }
    [[noreturn]] void failChecksum(std::uint64_t page) const;

    /// The start of a file as it stands, before anything is known of its pages. False when it is shorter.
    bool readRaw(std::uint8_t* out, std::size_t size) { return m_file.readAt(0, out, size); }

private:
    void load(std::uint64_t firstPage);
    void appendPages(std::uint64_t firstPage, std::size_t pages);

    InputFile m_file;
    std::vector<std::uint8_t> m_raw;  // some pages as they lie in the file
    std::vector<std::uint8_t>
        m_content;  // of the pages at hand, and a few bytes to look at after it
    std::uint64_t m_firstPage = 0;
    std::size_t m_pages = 0;
};

}  // namespace brisko::scan::e57
