#include "rvx_scan_colorizer/decoded_image.h"

#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <new>

namespace brisko {

namespace {

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostDecoding = kGiB;

struct Decoding {
    std::mutex mutex;
    std::condition_variable changed;
    std::uint64_t bytes = 0;  // of the photos that are being decoded
};

/// Never destroyed: a worker may outlive it.
Decoding& decoding() {
    static Decoding& shared = *new Decoding;
    return shared;
}

constexpr std::size_t kHugePage = std::size_t{2} << 20;

/// Points of one scan line and the next fall into different parts of a photo, so with small pages many of
/// them would wait for the page tables. Large photos ask for large pages, except for the last, partly
/// filled one: over many photos these parts add up.
void* allocate(std::size_t size) {
    constexpr std::size_t kLine = 64;
    const bool isLarge = size >= kHugePage;
    void* memory = nullptr;
    if (posix_memalign(&memory, isLarge ? kHugePage : kLine, size) != 0) return nullptr;
    if (isLarge) madvise(memory, size / kHugePage * kHugePage, MADV_HUGEPAGE);
    return memory;
}

std::size_t blocks(int length, int ofBlock) {
    return (static_cast<std::size_t>(length) + static_cast<std::size_t>(ofBlock) - 1) /
           static_cast<std::size_t>(ofBlock);
}

}  // namespace

DecodedImage::DecodedImage(int columns, int rows)
    : m_columns(columns),
      m_rows(rows),
      m_stripBytes(kPixelBytes * kBlockColumns * kBlockRows * blocks(columns, kBlockColumns)) {
    const std::size_t size = m_stripBytes * blocks(rows, kBlockRows);
    m_pixels.reset(static_cast<std::uint8_t*>(allocate(size)));
    if (!m_pixels) throw std::bad_alloc();
}

std::uint64_t heldPhotoBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return kGiB;
    const auto memory = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    return std::clamp(memory / 4, kGiB / 4, 2 * kGiB);
}

DecodingTurn::DecodingTurn(std::uint64_t bytes) : m_bytes(bytes) {
    Decoding& shared = decoding();
    std::unique_lock lock(shared.mutex);
    shared.changed.wait(lock,
                        [&] { return shared.bytes == 0 || shared.bytes + bytes <= kMostDecoding; });
    shared.bytes += bytes;
}

DecodingTurn::~DecodingTurn() {
    Decoding& shared = decoding();
    {
        const std::lock_guard lock(shared.mutex);
        shared.bytes -= m_bytes;
    }
    shared.changed.notify_all();
}

}  // namespace brisko
