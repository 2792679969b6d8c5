#pragma once

#include "scan/files/named_output.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan {

/// Bytes that go into a page as text, in base64.
class Base64Text {
public:
    explicit Base64Text(NamedOutput& file) : m_file(file) {}

    void write(std::span<const std::uint8_t> bytes);
    /// Writes what is left.
    void finish();

private:
    NamedOutput& m_file;
    std::string m_text;
    std::array<std::uint8_t, 3> m_rest{};  // bytes that do not make a group yet
    std::size_t m_restSize = 0;
};

/// The same, deflated before. Memory stays the same.
class PackedText {
public:
    explicit PackedText(NamedOutput& file);
    ~PackedText();
    PackedText(const PackedText&) = delete;
    PackedText& operator=(const PackedText&) = delete;

    void write(std::span<const std::uint8_t> bytes);
    /// Writes what is left.
    void finish();

private:
    struct Stream;
    void deflate(int flush);

    Base64Text m_text;
    std::unique_ptr<Stream> m_stream;
};

/// Small numbers near 0 as small numbers from 0: 0, -1, 1, -2 become 0, 1, 2, 3.
constexpr std::uint32_t zigzag(std::int32_t value) {
    return (static_cast<std::uint32_t>(value) << 1) ^ static_cast<std::uint32_t>(value >> 31);
}

/// Numbers of up to four bytes, kept by byte: first all low bytes, at the end all high ones. What
/// varies little then lies together, and deflates to little.
class BytePlanes {
public:
    explicit BytePlanes(std::size_t bytes) : m_planes(bytes) {}

    void reserve(std::size_t count) {
        for (std::vector<std::uint8_t>& plane : m_planes)
            plane.reserve(count);
    }
    void add(std::uint32_t value) {
        for (std::vector<std::uint8_t>& plane : m_planes) {
            plane.push_back(static_cast<std::uint8_t>(value));
            value >>= 8;
        }
    }
    void write(PackedText& text) const {
        for (const std::vector<std::uint8_t>& plane : m_planes)
            text.write(plane);
    }

private:
    std::vector<std::vector<std::uint8_t>> m_planes;
};

}  // namespace brisko::scan
