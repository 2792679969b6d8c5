// Texts and names: UTF-16 becomes the UTF-8 of its code points, the check for UTF-8 takes exactly what
// a decoder of the text book takes, and both rules for companions agree on ordinary names.

#include "input.h"

#include <brisko_codec/utf8.h>

#include "base/companion_path.h"
#include "base/utf8.h"

#include <optional>
#include <string>

namespace brisko::fuzz {

namespace {

/// The code points of a text; nothing when it is not UTF-8.
std::optional<std::u32string> decode(std::string_view text) {
    std::u32string points;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<std::uint8_t>(text[i++]);
        const int more = lead < 0x80 ? 0 : std::countl_one(lead) - 1;
        if (lead >= 0x80 && (more < 1 || more > 3)) return std::nullopt;
        std::uint32_t point = lead < 0x80 ? lead : lead & (0x3Fu >> more);
        for (int k = 0; k < more; ++k) {
            if (i == text.size() || (static_cast<std::uint8_t>(text[i]) & 0xC0) != 0x80)
                return std::nullopt;
            point = point << 6 | (static_cast<std::uint8_t>(text[i++]) & 0x3Fu);
        }
        constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        if (point < kLeast[more] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000))
            return std::nullopt;
        points.push_back(point);
    }
    return points;
}

void expectUtf8(Input in) {
    std::wstring units;
    std::u32string expected;
    while (!in.empty()) {
        const std::uint32_t unit = in.u8() % 8 == 0 ? in.u32() : in.u16();
        if (unit == 0) break;
        units.push_back(static_cast<wchar_t>(unit));
    }
    const auto isIn = [](auto unit, std::uint32_t from, std::uint32_t to) {
        const auto value = static_cast<std::uint32_t>(unit);
        return value >= from && value <= to;
    };
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(units[i]);
        if (isIn(unit, 0xD800, 0xDBFF) && i + 1 < units.size() &&
            isIn(units[i + 1], 0xDC00, 0xDFFF)) {
            const auto low = static_cast<std::uint32_t>(units[++i]);
            expected.push_back(0x10000 + (unit - 0xD800) * 0x400 + (low - 0xDC00));
        } else if (!isIn(unit, 0xD800, 0xDFFF) && unit <= 0x10FFFF) {
            expected.push_back(unit);
        }
    }
    expect(decode(toUTF8(units.c_str())) == expected);
}

void expectNames(std::string_view path) {
    const std::string reading = companionForReading(path, ".alg");
    const std::string writing = companionForWriting(path, ".alg");
    expect(reading.empty() == (path.find('.') == path.npos));
    expect(writing.ends_with(".alg"));
    const std::size_t slash = path.rfind('/');
    const std::string_view leaf = slash == path.npos ? path : path.substr(slash + 1);
    expect(std::string_view(writing).substr(0, path.size() - leaf.size()) ==
           path.substr(0, path.size() - leaf.size()));
    if (std::count(leaf.begin(), leaf.end(), '.') == 1 && leaf != ".") expect(reading == writing);
}

void run(ByteSpan input) {
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    expect(isUtf8(text) == decode(text).has_value());
    expectUtf8(Input(input));
    expectNames(text);
}

std::vector<Bytes> seeds() {
    return {toBytes("a/b.v2/scan.cl3"),
            toBytes("../\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.clr"),
            {1, 0x3D, 0xD8, 1, 0, 0xDE, 1, 0, 0xD8, 0, 0, 0xF6, 1, 0}};
}

const Registered registered({"text", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
