#pragma once

#include <cstdint>

namespace brisko {

/// Files that are there but cannot be looked at, opened or read, and lack of memory, as far as readers
/// met them in this thread. Their interface cannot tell that from a missing file or the end of the
/// data; a conversion can, by looking whether the number has grown.
std::uint64_t mishapCount();

/// Adds one.
void noteMishap();

/// Looks for mishaps of this thread from now on.
class MishapWatch {
public:
    bool sawNone() const { return mishapCount() == m_before; }

private:
    std::uint64_t m_before = mishapCount();
};

}  // namespace brisko
