#include "base/utf8.h"

#include <brisko_codec/utf8.h>

#include <gtest/gtest.h>

namespace brisko {
namespace {

TEST(Utf8, TellsWellFormedTextFromTheRest) {
    const struct {
        std::string_view text;
        bool wellFormed;
    } cases[] = {
        {"", true},
        {"scan.cl3", true},
        {"\xC3\xA9\xE6\x97\xA5\xF0\x9F\x93\xB7", true},
        {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", true},  // the neighbours of what is kept out
        {"\xC0\xAF", false},                                 // longer than needed
        {"\xE0\x80\xAF", false},
        {"\xF0\x80\x80\xAF", false},
        {"\xED\xA0\x80", false},      // a surrogate
        {"\xF4\x90\x80\x80", false},  // above U+10FFFF
        {"\xE6\x97", false},          // cut short
        {"\x80", false},
        {"a\xFFz", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(isUtf8(c.text), c.wellFormed) << c.text;
}

TEST(Utf8, ConvertsUtf16AndLeavesOutMalformedUnits) {
    const struct {
        std::wstring text;
        std::string expected;
    } cases[] = {
        {L"", ""},
        {L"a\x00E9\x0800\xFFFD", "a\xC3\xA9\xE0\xA0\x80\xEF\xBF\xBD"},
        {{wchar_t(0xD83D), wchar_t(0xDCF7)}, "\xF0\x9F\x93\xB7"},
        {{L'a', wchar_t(0xD83D)}, "a"},
        {{wchar_t(0xD83D), L'b'}, "b"},
        {{wchar_t(0xDCF7), L'c'}, "c"},
        {{wchar_t(0xD83D), wchar_t(0xD83D), wchar_t(0xDCF7)}, "\xF0\x9F\x93\xB7"},
        {{wchar_t(0x1F4F7)}, "\xF0\x9F\x93\xB7"},
        {{wchar_t(0x110000), L'd'}, "d"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(toUTF8(c.text.c_str()), c.expected);
    EXPECT_EQ(toUTF8(nullptr), "");
}

}  // namespace
}  // namespace brisko
