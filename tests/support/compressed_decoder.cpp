#include "support/compressed_decoder.h"

#include <algorithm>

namespace brisko::test {

namespace {

/// The value of a big-endian number in two's complement.
std::int64_t signedNumber(const Bytes& bytes, std::size_t at, std::size_t size) {
    std::int64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = value * 256 + bytes.at(at + i);
    const std::int64_t range = std::int64_t{1} << (8 * size);
    return value >= range / 2 ? value - range : value;
}

}  // namespace

std::vector<ClrRecord> decodeLine(const Bytes& bytes, std::size_t points) {
    const struct {
        std::int32_t ClrRecord::*field;
        int shift, mask;
    } fields[] = {{&ClrRecord::x, 6, 3},
                  {&ClrRecord::y, 4, 3},
                  {&ClrRecord::z, 2, 3},
                  {&ClrRecord::fourth, 1, 1},
                  {&ClrRecord::intensity, 0, 1}};
    std::vector<ClrRecord> line;
    std::size_t piece = 0;
    while (line.size() < points) {
        std::size_t length = 0;
        for (int i = 3; i >= 0; --i)
            length = length * 256 + bytes.at(piece + static_cast<std::size_t>(i));
        std::size_t at = piece + 4;
        ClrRecord previous;
        const std::size_t inPiece = std::min<std::size_t>(250, points - line.size());
        for (std::size_t i = 0; i < inPiece; ++i) {
            const int control = bytes.at(at++);
            ClrRecord point;
            for (const auto& f : fields) {
                const int code = control >> f.shift & f.mask;
                const auto size = static_cast<std::size_t>(code + 1);
                const std::int64_t value = signedNumber(bytes, at, size);
                at += size;
                const std::int64_t base = code == f.mask ? 0 : previous.*f.field;
                point.*f.field = static_cast<std::int32_t>(base + value);
            }
            line.push_back(point);
            previous = point;
        }
        piece += 4 + length;
    }
    return line;
}

}  // namespace brisko::test
