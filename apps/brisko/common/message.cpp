#include "common/message.h"

#include "base/utf8.h"

#include <cstdio>

namespace brisko::tool {
namespace {

bool isControl(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence.front());
    if (sequence.size() == 1) return first < 0x20 || first == 0x7F;
    return first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;  // C1
}

void appendEscaped(std::string& out, std::string_view bytes) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
}

void say(const char* kind, const std::string& text) {
    std::fprintf(stderr, "brisko: %s%s\n", kind, printable(text).c_str());
}

}  // namespace

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t length = utf8SequenceLength(text);
        const std::string_view sequence = text.substr(0, length > 0 ? length : 1);
        if (length == 0 || isControl(sequence)) {
            appendEscaped(out, sequence);
        } else {
            out += sequence;
        }
        text.remove_prefix(sequence.size());
    }
    return out;
}

void complain(const std::string& text) {
    say("", text);
}

void warn(const std::string& text) {
    say("warning: ", text);
}

void note(const std::string& text) {
    say("note: ", text);
}

std::string percentOf(unsigned long long part, unsigned long long whole) {
    const unsigned long long tenths = whole == 0 ? 0 : part * 1000 / whole;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " %";
}

}  // namespace brisko::tool
