#include "scan/formats/ptx/line_reader.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cstring>

namespace brisko::scan {
namespace {

constexpr std::size_t kBlock = 1 << 20;     // bytes read at a time
constexpr std::size_t kStretch = 1 << 18;   // bytes that one thread works on
constexpr std::size_t kLongestLine = 4096;  // bytes; a line of seven numbers is far shorter

}  // namespace

LineReader::LineReader(const std::string& path)
    : m_file(path),
      m_buffer(static_cast<std::size_t>(
          std::min<std::uint64_t>(kBlock + kLongestLine, m_file.size() + 1))) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (lookAhead().starts_with(kByteOrderMark)) m_begin = kByteOrderMark.size();
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

void LineReader::failAsTooLong() const {
    throw ScanError(ErrorKind::Damaged, path(),
                    "line " + std::to_string(m_number + 1) + " is too long",
                    "is this a text file?");
}

bool LineReader::take(LineStretch& stretch) {
    stretch.bytes.resize(kStretch + LineStretch::kSlack);
    char* const out = stretch.bytes.data();
    std::size_t size = std::min(m_end - m_begin, kStretch);
    std::memcpy(out, m_buffer.data() + m_begin, size);
    m_begin += size;
    if (size < kStretch) {
        m_blockStart += m_end;
        m_begin = m_end = 0;
        const std::size_t got = m_file.read(out + size, kStretch - size);
        m_blockStart += got;
        size += got;
    }
    const std::string_view text(out, size);
    const bool isEnd = position() == this->size();
    const std::size_t whole = text.rfind('\n') + 1;  // 0 where there is no end of a line
    // The last line may lack its end.
    stretch.size = isEnd ? size : whole;
    if (isEnd ? size - whole > kLongestLine : whole == 0) failAsTooLong();
    putBack(text.substr(stretch.size));
    std::memset(out + stretch.size, 0, LineStretch::kSlack);
    stretch.before = m_number;
    stretch.end = position();
    m_number += countLineEnds(stretch.text()) + (whole < stretch.size);
    return stretch.size > 0;
}

void LineReader::giveBack(LineStretch& stretch, std::size_t kept) {
    putBack(stretch.text().substr(kept));
    stretch.size = kept;
    stretch.end = position();
    m_number = stretch.before + countLineEnds(stretch.text());
}

/// What was taken last lies before what is at hand again.
void LineReader::putBack(std::string_view text) {
    if (m_begin >= text.size()) {  // it came out of the buffer
        m_begin -= text.size();
        return;
    }
    const std::size_t left = m_end - m_begin;
    if (m_buffer.size() < text.size() + left) m_buffer.resize(text.size() + left);
    std::memmove(m_buffer.data() + text.size(), m_buffer.data() + m_begin, left);
    std::memcpy(m_buffer.data(), text.data(), text.size());
    m_blockStart = m_blockStart + m_begin - text.size();
    m_begin = 0;
    m_end = text.size() + left;
}

std::uint64_t countLineEnds(std::string_view text) {
    constexpr std::size_t kPart = 240;  // that a byte can count
    std::uint64_t ends = 0;
    for (std::size_t at = 0; at < text.size(); at += kPart) {
        std::uint8_t some = 0;
        for (const char c : text.substr(at, kPart))
            some = static_cast<std::uint8_t>(some + (c == '\n'));
        ends += some;
    }
    return ends;
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
        if (left > kLongestLine) failAsTooLong();
        if (refill()) continue;
        if (left == 0) return false;
        // The last line may lack its end.
        line = withoutCarriageReturn({m_buffer.data() + m_begin, left});
        m_begin = m_end;
        ++m_number;
        return true;
    }
}

std::string_view LineReader::lookAhead() {
    refill();
    return {m_buffer.data() + m_begin, m_end - m_begin};
}

std::uint64_t LineReader::pass(std::uint64_t lines) {
    std::uint64_t passed = 0;
    std::string_view line;
    while (passed < lines) {
        if (const std::uint64_t some = passPiece(lines - passed); some > 0) {
            passed += some;
            continue;
        }
        if (!next(line)) break;
        passed += !isComment(line);
    }
    return passed;
}

/// Passes over the lines of a piece of the buffer at once, by counting their ends. 0 where it has to be
/// done line by line: few are left, or there may be comments among them.
std::uint64_t LineReader::passPiece(std::uint64_t lines) {
    constexpr std::uint16_t kPiece = kLongestLine;
    if (m_end - m_begin < kPiece) return 0;
    const char* const begin = m_buffer.data() + m_begin;
    std::uint16_t ends = 0, marks = 0;
    for (std::uint16_t i = 0; i < kPiece; ++i) {
        ends = static_cast<std::uint16_t>(ends + (begin[i] == '\n'));
        marks = static_cast<std::uint16_t>(marks | (begin[i] == '#') | (begin[i] == '/'));
    }
    if (ends == 0 || marks != 0 || ends > lines) return 0;
    m_begin += std::string_view(begin, kPiece).rfind('\n') + 1;
    m_number += ends;
    return ends;
}

bool LineReader::peek(std::string_view& line) {
    // next() moves the buffer before it takes a line out of it, never after.
    if (!next(line)) return false;
    --m_number;
    m_begin = static_cast<std::size_t>(line.data() - m_buffer.data());
    return true;
}

std::uint64_t countLines(std::string_view text, std::uint64_t most, std::size_t& end) {
    const std::uint64_t lines =
        countLineEnds(text) + (!text.empty() && text.back() != '\n' ? 1 : 0);
    end = text.size();
    const bool mayHoldComments = text.find('#') != text.npos || text.find('/') != text.npos;
    if (lines <= most && !mayHoldComments) return lines;
    std::uint64_t counted = 0;
    for (std::size_t at = 0; at < text.size(); at = end) {
        const std::size_t stop = text.find('\n', at);
        end = stop == text.npos ? text.size() : stop + 1;
        counted += !isComment(text.substr(at));
        if (counted == most) break;
    }
    return counted;
}

}  // namespace brisko::scan
