#include "common/message.h"

#include <cstdio>

namespace brisko::tool {

void warn(const std::string& text) {
    std::fprintf(stderr, "brisko: warning: %s\n", text.c_str());
}

void note(const std::string& text) {
    std::fprintf(stderr, "brisko: note: %s\n", text.c_str());
}

std::string countOf(unsigned long long count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace brisko::tool
