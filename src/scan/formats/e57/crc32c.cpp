#include "scan/formats/e57/crc32c.h"

#include "base/bytes.h"

#include <array>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace brisko::scan {
namespace {

constexpr std::uint32_t kReflected = 0x82F63B78;
constexpr int kSlices = 8;
using Table = std::array<std::uint32_t, 256>;

/// Table t holds what a byte does to the sum when t more bytes follow it.
constexpr std::array<Table, kSlices> makeTables() {
    std::array<Table, kSlices> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? kReflected : 0);
        tables[0][byte] = sum;
    }
    for (std::size_t t = 1; t < kSlices; ++t) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t sum = tables[t - 1][byte];
            tables[t][byte] = (sum >> 8) ^ tables[0][sum & 0xff];
        }
    }
    return tables;
}

std::uint32_t byTable(const std::uint8_t* bytes, std::size_t size) {
    static constexpr std::array<Table, kSlices> kTables = makeTables();
    std::uint32_t sum = 0xffffffff;
    for (; size >= kSlices; size -= kSlices, bytes += kSlices) {
        const std::uint64_t mixed = load<std::uint64_t>(bytes) ^ sum;
        sum = 0;
        for (std::size_t t = 0; t < kSlices; ++t)
            sum ^= kTables[kSlices - 1 - t][(mixed >> (8 * t)) & 0xff];
    }
    for (; size > 0; --size, ++bytes)
        sum = (sum >> 8) ^ kTables[0][(sum ^ *bytes) & 0xff];
    return ~sum;
}

#if defined(__x86_64__)

bool hasInstruction() {
    static const bool has = __builtin_cpu_supports("sse4.2") != 0;
    return has;
}

__attribute__((target("sse4.2"))) std::uint32_t finish(std::uint64_t sum, const std::uint8_t* bytes,
                                                       std::size_t size) {
    auto narrow = static_cast<std::uint32_t>(sum);
    for (; size > 0; --size, ++bytes)
        narrow = _mm_crc32_u8(narrow, *bytes);
    return ~narrow;
}

__attribute__((target("sse4.2"))) std::uint32_t byInstruction(const std::uint8_t* bytes,
                                                              std::size_t size) {
    std::uint64_t sum = 0xffffffff;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8)
        sum = _mm_crc32_u64(sum, load<std::uint64_t>(bytes + i));
    return finish(sum, bytes + i, size - i);
}

/// The instruction takes three cycles and one can start in each: four chains keep it busy.
__attribute__((target("sse4.2"))) void fourByInstruction(const std::uint8_t* blocks,
                                                         std::size_t size, std::size_t stride,
                                                         std::uint32_t (&sums)[4]) {
    std::uint64_t a = 0xffffffff, b = a, c = a, d = a;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        a = _mm_crc32_u64(a, load<std::uint64_t>(blocks + i));
        b = _mm_crc32_u64(b, load<std::uint64_t>(blocks + stride + i));
        c = _mm_crc32_u64(c, load<std::uint64_t>(blocks + 2 * stride + i));
        d = _mm_crc32_u64(d, load<std::uint64_t>(blocks + 3 * stride + i));
    }
    const std::uint64_t wide[4] = {a, b, c, d};
    for (std::size_t block = 0; block < 4; ++block)
        sums[block] = finish(wide[block], blocks + block * stride + i, size - i);
}

#else

bool hasInstruction() {
    return false;
}
std::uint32_t byInstruction(const std::uint8_t* bytes, std::size_t size) {
    return byTable(bytes, size);
}
void fourByInstruction(const std::uint8_t*, std::size_t, std::size_t, std::uint32_t (&)[4]) {
}

#endif

}  // namespace

std::uint32_t crc32c(const std::uint8_t* bytes, std::size_t size) {
    return hasInstruction() ? byInstruction(bytes, size) : byTable(bytes, size);
}

void crc32cOfFour(const std::uint8_t* blocks, std::size_t size, std::size_t stride,
                  std::uint32_t (&sums)[4]) {
    if (hasInstruction()) {
        fourByInstruction(blocks, size, stride, sums);
        return;
    }
    for (std::size_t block = 0; block < 4; ++block)
        sums[block] = byTable(blocks + block * stride, size);
}

}  // namespace brisko::scan
