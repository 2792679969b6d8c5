#include "scan/formats/pcd/lzf_stream.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cstring>

namespace brisko::scan {
namespace {

constexpr std::size_t kHistory = 1 << 13;  // bytes that may be referred to
constexpr std::size_t kBuffer = kHistory + (1 << 16);
constexpr std::size_t kLongestOutput = 7 + 255 + 2;  // of one control byte
constexpr std::size_t kLongestInput = 33;
constexpr unsigned kLiterals = 32;

}  // namespace

LzfStream::LzfStream(const std::string& path, std::uint64_t offset, std::uint64_t packed,
                     std::uint64_t full)
    : m_path(path), m_stream(path), m_packedLeft(packed), m_fullLeft(full), m_bytes(kBuffer) {
    m_stream.seek(offset);
}

void LzfStream::fail(const char* reason) const {
    throw ScanError(ErrorKind::Damaged, m_path, FilePlace{{}, m_stream.offset()},
                    std::string("the compressed data ") + reason);
}

std::unique_ptr<LzfStream> LzfStream::fork() const {
    auto other = std::make_unique<LzfStream>(m_path, m_stream.offset(), m_packedLeft, m_fullLeft);
    other->m_bytes = m_bytes;
    other->m_taken = m_taken;
    other->m_end = m_end;
    return other;
}

void LzfStream::take(std::uint8_t* out, std::uint64_t size) {
    while (size > 0) {
        if (m_taken == m_end) fill();
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_end - m_taken));
        if (out) {
            std::memcpy(out, m_bytes.data() + m_taken, part);
            out += part;
        }
        m_taken += part;
        size -= part;
    }
}

void LzfStream::requireEnd() const {
    if (m_packedLeft > 0 || m_fullLeft > 0 || m_taken < m_end) fail("go on after the last point");
}

/// Unpacks at least one byte.
void LzfStream::fill() {
    const std::size_t kept = std::min(m_end, kHistory);
    std::memmove(m_bytes.data(), m_bytes.data() + m_end - kept, kept);
    m_taken = m_end = kept;
    if (m_packedLeft == 0) fail("end too early");
    const auto at = m_stream.atLeast(std::min<std::uint64_t>(kLongestInput, m_packedLeft));
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(at.size(), m_packedLeft));
    const std::size_t used = unpack(at.data(), size);
    m_stream.seek(m_stream.offset() + used);
    m_packedLeft -= used;
    if (m_end == kept) fail("are cut off");
}

/// As many control bytes as are there with what belongs to them, and as there is room for. Returns how many
/// bytes were used.
std::size_t LzfStream::unpack(const std::uint8_t* in, std::size_t size) {
    const std::uint8_t* const begin = in;
    const std::uint8_t* const end = in + size;
    while (in < end && m_bytes.size() - m_end >= kLongestOutput) {
        const unsigned control = *in;
        const auto left = static_cast<std::size_t>(end - in);
        std::uint8_t* const out = m_bytes.data() + m_end;
        if (control < kLiterals) {
            const std::size_t length = control + std::size_t{1};
            if (left < 1 + length) break;
            if (length > m_fullLeft) fail("are more than they announce");
            std::memcpy(out, in + 1, length);
            in += 1 + length;
            m_end += length;
            m_fullLeft -= length;
            continue;
        }
        const bool isLong = control >> 5 == 7;
        if (left < (isLong ? 3U : 2U)) break;
        const std::size_t length = (control >> 5) + 2 + (isLong ? in[1] : 0U);
        const std::size_t back = (control & 31U) * 256U + in[isLong ? 2 : 1] + std::size_t{1};
        if (length > m_fullLeft) fail("are more than they announce");
        if (back > m_end) fail("refer to bytes before their beginning");
        for (std::size_t i = 0; i < length; ++i)
            out[i] = *(out + i - back);
        in += isLong ? 3 : 2;
        m_end += length;
        m_fullLeft -= length;
    }
    return static_cast<std::size_t>(in - begin);
}

}  // namespace brisko::scan
