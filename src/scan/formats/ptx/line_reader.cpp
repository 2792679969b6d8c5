#include "scan/formats/ptx/line_reader.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cstring>

namespace brisko::scan {
namespace {

constexpr std::size_t kBlock = 1 << 20;     // bytes read at a time
constexpr std::size_t kLongestLine = 4096;  // bytes; a line of seven numbers is far shorter

std::string_view withoutCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

}  // namespace

LineReader::LineReader(const std::string& path)
    : m_file(path),
      m_buffer(static_cast<std::size_t>(
          std::min<std::uint64_t>(kBlock + kLongestLine, m_file.size() + 1))) {
}

/// Moves what is left to the front and loads another block after it. False at the end of the file.
bool LineReader::refill() {
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_blockStart += m_begin;
    m_end -= m_begin;
    m_begin = 0;
    const std::size_t got = m_file.read(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += got;
    return got > 0;
}

bool LineReader::next(std::string_view& line) {
    for (;;) {
        const char* begin = m_buffer.data() + m_begin;
        const std::size_t left = m_end - m_begin;
        const void* found = left > 0 ? std::memchr(begin, '\n', left) : nullptr;
        if (found) {
            const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - begin);
            line = withoutCarriageReturn({begin, length});
            m_begin += length + 1;
            ++m_number;
            return true;
        }
        if (left > kLongestLine) {
            throw ScanError(ErrorKind::Damaged, path(),
                            "line " + std::to_string(m_number + 1) + " is too long",
                            "is this a text file?");
        }
        if (refill()) continue;
        if (left == 0) return false;
        // The last line may lack its end.
        line = withoutCarriageReturn({m_buffer.data() + m_begin, left});
        m_begin = m_end;
        ++m_number;
        return true;
    }
}

bool LineReader::peek(std::string_view& line) {
    // next() moves the buffer before it takes a line out of it, never after.
    if (!next(line)) return false;
    --m_number;
    m_begin = static_cast<std::size_t>(line.data() - m_buffer.data());
    return true;
}

}  // namespace brisko::scan
