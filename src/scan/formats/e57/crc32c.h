#pragma once

#include <cstddef>
#include <cstdint>

namespace brisko::scan {

/// The checksum of E57 pages: CRC-32C (polynomial 0x1EDC6F41, reflected), of "123456789" 0xE3069283.
std::uint32_t crc32c(const std::uint8_t* bytes, std::size_t size);

/// The checksums of four blocks of one size, which lie `stride` bytes apart. A processor that has an
/// instruction for it works on all four at a time.
void crc32cOfFour(const std::uint8_t* blocks, std::size_t size, std::size_t stride,
                  std::uint32_t (&sums)[4]);

}  // namespace brisko::scan
