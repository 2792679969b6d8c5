#include "base/page_memory.h"

#include <sys/mman.h>

#include <cstdint>

namespace brisko {
namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;

void unmap(std::uintptr_t first, std::uintptr_t end) {
    if (first < end) munmap(reinterpret_cast<void*>(first), end - first);
}

}  // namespace

PageMemory::PageMemory(std::size_t bytes) noexcept : m_size((bytes + 4095) / 4096 * 4096) {
    constexpr int kAccess = PROT_READ | PROT_WRITE, kKind = MAP_PRIVATE | MAP_ANONYMOUS;
    void* const mapped = mmap(nullptr, m_size + kLargePage, kAccess, kKind, -1, 0);
    if (mapped == MAP_FAILED) return;
    // Large pages lie at multiples of their size.
    const auto from = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t start = (from + kLargePage - 1) / kLargePage * kLargePage;
    unmap(from, start);
    unmap(start + m_size, from + m_size + kLargePage);
    m_start = reinterpret_cast<void*>(start);
    if (m_size >= kLargePage) madvise(m_start, m_size, MADV_HUGEPAGE);
}

PageMemory::~PageMemory() {
    if (m_start) munmap(m_start, m_size);
}

}  // namespace brisko
