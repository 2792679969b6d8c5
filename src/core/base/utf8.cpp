#include "base/utf8.h"

#include <brisko_codec/utf8.h>

#include <cstddef>
#include <cstdint>

namespace brisko {

namespace {

struct SequenceForm {
    std::uint8_t leadFrom, leadTo;      // first byte
    std::uint8_t secondFrom, secondTo;  // second byte; any further one is 80 to BF
    std::size_t length;
};

// The well-formed sequences beyond ASCII. The narrow second bytes keep out longer forms than needed,
// surrogates, and what lies above U+10FFFF.
constexpr SequenceForm kForms[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

bool within(char c, std::uint8_t from, std::uint8_t to) {
    const auto byte = static_cast<std::uint8_t>(c);
    return byte >= from && byte <= to;
}

bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void append(std::string& out, std::uint32_t codePoint) {
    const auto put = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        put(0xE0 | codePoint >> 12);
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else {
        put(0xF0 | codePoint >> 18);
        put(0x80 | (codePoint >> 12 & 0x3F));
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    }
}

}  // namespace

std::size_t utf8SequenceLength(std::string_view text) {
    if (within(text[0], 0x00, 0x7F)) return 1;
    for (const SequenceForm& form : kForms) {
        if (!within(text[0], form.leadFrom, form.leadTo)) continue;
        if (text.size() < form.length || !within(text[1], form.secondFrom, form.secondTo)) return 0;
        for (std::size_t i = 2; i < form.length; ++i) {
            if (!within(text[i], 0x80, 0xBF)) return 0;
        }
        return form.length;
    }
    return 0;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8SequenceLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

}  // namespace brisko

std::string toUTF8(const wchar_t* text) {
    std::string out;
    if (!text) return out;
    for (; *text; ++text) {
        const auto unit = static_cast<std::uint32_t>(*text);
        if (brisko::isHighSurrogate(unit)) {
            const auto next = static_cast<std::uint32_t>(text[1]);
            if (!brisko::isLowSurrogate(next)) continue;  // without its partner: left out
            brisko::append(out, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            ++text;
        } else if (!brisko::isLowSurrogate(unit) && unit <= 0x10FFFF) {
            brisko::append(out, unit);
        }
    }
    return out;
}
