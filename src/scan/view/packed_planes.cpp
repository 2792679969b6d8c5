#include "scan/view/packed_planes.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <string>

namespace brisko::scan {
namespace {

constexpr std::size_t kBuffer = 3 << 14;  // bytes: whole groups of base64
constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

void encodeGroup(const std::uint8_t* in, char* out) {
    const auto bits = static_cast<std::uint32_t>(in[0] << 16 | in[1] << 8 | in[2]);
    for (int digit = 0; digit < 4; ++digit)
        out[digit] = kDigits[bits >> (18 - 6 * digit) & 63];
}

}  // namespace

void Base64Text::write(std::span<const std::uint8_t> bytes) {
    m_text.clear();
    for (const std::uint8_t byte : bytes) {
        m_rest[m_restSize++] = byte;
        if (m_restSize < m_rest.size()) continue;
        m_restSize = 0;
        char group[4];
        encodeGroup(m_rest.data(), group);
        m_text.append(group, sizeof group);
    }
    m_file.write(m_text);
}

void Base64Text::finish() {
    if (m_restSize == 0) return;
    std::fill(m_rest.begin() + static_cast<std::ptrdiff_t>(m_restSize), m_rest.end(), 0);
    char group[4];
    encodeGroup(m_rest.data(), group);
    std::fill(group + m_restSize + 1, group + 4, '=');
    m_file.write(group, sizeof group);
    m_restSize = 0;
}

struct PackedText::Stream {
    z_stream z{};
    std::vector<std::uint8_t> out = std::vector<std::uint8_t>(kBuffer);
};

PackedText::PackedText(NamedOutput& file) : m_text(file), m_stream(std::make_unique<Stream>()) {
    if (deflateInit(&m_stream->z, 6) != Z_OK) throw std::bad_alloc();
}

PackedText::~PackedText() {
    deflateEnd(&m_stream->z);
}

void PackedText::write(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kMost = 1 << 24;  // what the stream counts in
    for (std::size_t at = 0; at < bytes.size(); at += kMost) {
        const auto part = bytes.subspan(at, std::min(kMost, bytes.size() - at));
        m_stream->z.next_in = const_cast<std::uint8_t*>(part.data());  // it only reads them
        m_stream->z.avail_in = static_cast<uInt>(part.size());
        deflate(Z_NO_FLUSH);
    }
}

void PackedText::finish() {
    m_stream->z.avail_in = 0;
    deflate(Z_FINISH);
    m_text.finish();
}

void PackedText::deflate(int flush) {
    z_stream& z = m_stream->z;
    do {
        z.next_out = m_stream->out.data();
        z.avail_out = kBuffer;
        ::deflate(&z, flush);
        m_text.write({m_stream->out.data(), kBuffer - z.avail_out});
    } while (z.avail_out == 0);
}

}  // namespace brisko::scan
