#include "base/page_memory.h"

#include <sys/mman.h>

#include <cstdint>

namespace brisko {
namespace {

constexpr std::size_t kPage = 4096, kLargePage = std::size_t{2} << 20;

void unmap(std::byte* start, std::size_t size) {
    if (size > 0) munmap(start, size);
}

}  // namespace

PageMemory::PageMemory(std::size_t bytes) noexcept : m_size((bytes + kPage - 1) / kPage * kPage) {
    constexpr int kAccess = PROT_READ | PROT_WRITE, kKind = MAP_PRIVATE | MAP_ANONYMOUS;
    void* const mapped = mmap(nullptr, m_size + kLargePage, kAccess, kKind, -1, 0);
    if (mapped == MAP_FAILED) return;
    // Large pages lie at multiples of their size.
    auto* const from = static_cast<std::byte*>(mapped);
    const std::size_t over = reinterpret_cast<std::uintptr_t>(mapped) % kLargePage;
    const std::size_t before = over == 0 ? 0 : kLargePage - over;
    unmap(from, before);
    unmap(from + before + m_size, kLargePage - before);
    m_start = from + before;
    if (m_size >= kLargePage) madvise(m_start, m_size, MADV_HUGEPAGE);
}

PageMemory::~PageMemory() {
    if (m_start) munmap(m_start, m_size);
}

}  // namespace brisko
