#pragma once

#include "target.h"

#include <algorithm>
#include <bit>
#include <initializer_list>

namespace brisko::fuzz {

/// Takes an input apart. What it does not hold any more reads as 0 and as empty pieces.
class Input {
public:
    explicit Input(ByteSpan bytes) : m_bytes(bytes) {}

    bool empty() const { return m_bytes.empty(); }
    std::uint8_t u8() {
        if (m_bytes.empty()) return 0;
        const std::uint8_t byte = m_bytes[0];
        m_bytes = m_bytes.subspan(1);
        return byte;
    }
    std::uint32_t u16() {
        const std::uint32_t low = u8();
        return low | std::uint32_t{u8()} << 8;
    }
    std::uint32_t u32() {
        const std::uint32_t low = u16();
        return low | u16() << 16;
    }
    std::uint64_t u64() {
        const std::uint64_t low = u32();
        return low | std::uint64_t{u32()} << 32;
    }
    double f64() { return std::bit_cast<double>(u64()); }
    /// A number below a limit above 0.
    std::uint32_t below(std::uint32_t limit) { return (limit <= 256 ? u8() : u16()) % limit; }

    ByteSpan take(std::size_t size) {
        const ByteSpan piece = m_bytes.first(std::min(size, m_bytes.size()));
        m_bytes = m_bytes.subspan(piece.size());
        return piece;
    }
    /// A piece that follows its length.
    ByteSpan takePiece() {
        const std::size_t length = u16();
        return take(length);
    }
    ByteSpan rest() { return take(m_bytes.size()); }

private:
    ByteSpan m_bytes;
};

/// Pieces as takePiece takes them, the last one as rest does.
inline Bytes pieces(std::initializer_list<Bytes> all) {
    Bytes bytes;
    std::size_t left = all.size();
    for (const Bytes& piece : all) {
        if (--left > 0) {
            bytes.push_back(static_cast<std::uint8_t>(piece.size()));
            bytes.push_back(static_cast<std::uint8_t>(piece.size() >> 8));
        }
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    return bytes;
}

/// A byte before others, as u8 takes it.
inline Bytes prefixed(std::uint8_t first, Bytes rest) {
    rest.insert(rest.begin(), first);
    return rest;
}

inline Bytes toBytes(ByteSpan bytes) {
    return {bytes.begin(), bytes.end()};
}
inline Bytes toBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

}  // namespace brisko::fuzz
