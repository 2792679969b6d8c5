#include "base/mishaps.h"

namespace brisko {

namespace {

thread_local std::uint64_t count = 0;

}  // namespace

std::uint64_t mishapCount() {
    return count;
}

void noteMishap() {
    ++count;
}

}  // namespace brisko
