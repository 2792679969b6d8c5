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

/// Points of one scan line fall into a different row of a photo each, so with small pages nearly every
/// point would wait for the page tables. Large photos ask for large pages, except for the last, partly
/// filled one: over many photos these parts add up.
void* allocate(std::size_t size) {
    if (size < kHugePage) return std::malloc(size);
    void* memory = nullptr;
    if (posix_memalign(&memory, kHugePage, size) != 0) return nullptr;
    madvise(memory, size / kHugePage * kHugePage, MADV_HUGEPAGE);
    return memory;
}

void copyPixel(std::uint8_t* out, const std::uint8_t* in) {
    out[0] = in[0];
    out[1] = in[1];
    out[2] = in[2];
}

/// Column c becomes row (columns - 1 - c). In squares, so that both sides stay in the cache.
DecodedImage quarterTurned(const DecodedImage& image) {
    constexpr int kSquare = 32;
    const int columns = image.columns(), rows = image.rows();
    DecodedImage result(rows, columns);
    for (int top = 0; top < rows; top += kSquare) {
        const int bottom = std::min(top + kSquare, rows);
        for (int column = 0; column < columns; ++column) {
            std::uint8_t* out = result.row(columns - 1 - column) + std::ptrdiff_t{3} * top;
            for (int row = top; row < bottom; ++row, out += 3) {
                copyPixel(out, image.pixel(column, row));
            }
        }
    }
    return result;
}

void halfTurn(DecodedImage& image) {
    std::uint8_t* front = image.row(0);
    std::uint8_t* back = image.row(image.rows()) - 3;
    for (; front < back; front += 3, back -= 3) {
        std::swap_ranges(front, front + 3, back);
    }
}

}  // namespace

DecodedImage::DecodedImage(int columns, int rows) : m_columns(columns), m_rows(rows) {
    m_pixels.reset(static_cast<std::uint8_t*>(allocate(offset(rows))));
    if (!m_pixels) throw std::bad_alloc();
}

DecodedImage turned(DecodedImage image, Turn turn) {
    switch (turn) {
        case Turn::None:
            return image;
        case Turn::Quarter:
            return quarterTurned(image);
        case Turn::Half:
            halfTurn(image);
            return image;
    }
    return image;
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
