#include "rvx_scan_colorizer/decoding_budget.h"

#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

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

}  // namespace

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
