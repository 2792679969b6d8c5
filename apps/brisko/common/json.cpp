#include "common/json_text.h"

#include <iostream>

namespace brisko::tool {
namespace {

/// The library escapes control characters below the blank only; terminals obey others, too.
std::string withoutControls(const std::string& json) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string out;
    out.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (byte == 0x7F) {
            out += "\\u007f";
        } else if (byte == 0xC2 && next < 0xA0) {  // valid UTF-8: what follows is 80 or above
            out += {'\\', 'u', '0', '0', kDigits[next >> 4], kDigits[next & 15]};
            ++i;
        } else {
            out += json[i];
        }
    }
    return out;
}

}  // namespace

std::string jsonText(const nlohmann::ordered_json& document, int indent) {
    return withoutControls(
        document.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void printDocument(const nlohmann::ordered_json& document) {
    std::cout << jsonText(document, 2) << "\n";
}

}  // namespace brisko::tool
