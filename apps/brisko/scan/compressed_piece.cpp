#include "scan/compressed_piece.h"

namespace brisko::tool {
namespace {

/// A signed number of `size` bytes, most significant first.
std::int32_t bigEndian(const std::uint8_t* bytes, unsigned size) {
    std::uint32_t value = (bytes[0] & 0x80) != 0 ? ~0u : 0u;
    for (unsigned i = 0; i < size; ++i)
        value = value << 8 | bytes[i];
    return static_cast<std::int32_t>(value);
}

struct Field {
    std::int32_t RawRecord::*value;
    unsigned shift;         // of its size code in the control byte
    unsigned absoluteCode;  // the largest code: the value itself, not a difference
};

constexpr Field kFields[] = {{&RawRecord::x, 6, 3},
                             {&RawRecord::y, 4, 3},
                             {&RawRecord::z, 2, 3},
                             {&RawRecord::fourth, 1, 1},
                             {&RawRecord::intensity, 0, 1}};

}  // namespace

std::size_t decodePieceWithin(const std::uint8_t* bytes, std::size_t size, std::size_t count,
                              RawRecord* out) {
    std::size_t at = 0;
    RawRecord point;
    for (std::size_t i = 0; i < count; ++i) {
        if (at >= size) return i;
        const unsigned control = bytes[at++];
        for (const Field& field : kFields) {
            const unsigned code = control >> field.shift & field.absoluteCode;
            if (size - at < code + 1) return i;
            const std::int32_t value = bigEndian(bytes + at, code + 1);
            at += code + 1;
            std::int32_t& kept = point.*field.value;
            // Differences wrap around, as any damaged stream may ask for.
            kept = code == field.absoluteCode
                       ? value
                       : static_cast<std::int32_t>(static_cast<std::uint32_t>(value) +
                                                   static_cast<std::uint32_t>(kept));
        }
        out[i] = point;
    }
    return count;
}

}  // namespace brisko::tool
