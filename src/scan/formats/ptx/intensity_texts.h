#pragma once

#include "scan/formats/ptx/number_text.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace brisko::scan {

/// Intensities as putIntensity writes them. Scanners measure a few thousand different ones, so most texts are
/// there already: a copy takes a fifth of the time.
class IntensityTexts {
public:
    /// Writes up to kLongest bytes; returns the end of the text.
    char* put(char* out, float intensity) {
        const auto bits = std::bit_cast<std::uint32_t>(intensity);
        const Text& text = m_texts[bits * kSpread >> (32 - kTextsLog2)];
        if (text.bits != bits || text.length == 0) return putNew(out, intensity);
        std::memcpy(out, text.text.data(), text.text.size());
        return out + text.length;
    }
    static constexpr int kLongest = kLongestNumber;

private:
    struct Text {
        std::uint32_t bits = 0;
        std::array<char, 19> text{};
        std::uint8_t length = 0;  // 0: none yet
    };
    static_assert(sizeof(Text) == 24);

    char* putNew(char* out, float intensity) {
        char* const end = putIntensity(out, intensity);
        const auto length = static_cast<std::size_t>(end - out);
        const auto bits = std::bit_cast<std::uint32_t>(intensity);
        Text& text = m_texts[bits * kSpread >> (32 - kTextsLog2)];
        if (length <= text.text.size()) {
            text.bits = bits;
            text.length = static_cast<std::uint8_t>(length);
            std::memcpy(text.text.data(), out, length);
        }
        return end;
    }

    static constexpr unsigned kTextsLog2 = 11;
    static constexpr std::uint32_t kSpread = 0x9e3779b1;  // 2^32 by the golden section

    std::vector<Text> m_texts = std::vector<Text>(std::size_t{1} << kTextsLog2);
};

}  // namespace brisko::scan
