#include "target.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace brisko::fuzz {

namespace {

std::vector<Target>& registered() {
    static std::vector<Target> list;
    return list;
}

}  // namespace

std::vector<Target> targets() {
    std::vector<Target> list = registered();
    std::sort(list.begin(), list.end(),
              [](const Target& a, const Target& b) { return std::string_view(a.name) < b.name; });
    return list;
}

Registered::Registered(const Target& target) {
    registered().push_back(target);
}

void expect(bool holds, const char* file, int line) {
    if (holds) return;
    std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
    std::abort();
}

}  // namespace brisko::fuzz
