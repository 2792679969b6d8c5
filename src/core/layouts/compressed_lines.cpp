#include "layouts/compressed_lines.h"

#include "base/bytes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace brisko {

namespace {

/// The sign-extended big-endian number in the next 1 to 4 bytes. Always loads four.
inline std::int32_t loadBigEndian(const std::uint8_t* in, unsigned bytes) {
    const auto word = static_cast<std::int32_t>(__builtin_bswap32(loadU32(in)));
    return word >> (32 - 8 * bytes);
}

/// Takes one value from the stream. Differences wrap around, as any damaged stream may ask for.
inline std::int32_t takeValue(const std::uint8_t*& in, unsigned code, unsigned absoluteCode,
                              std::int32_t previous) {
    const std::int32_t value = loadBigEndian(in, code + 1);
    in += code + 1;
    const std::int32_t base = code == absoluteCode ? 0 : previous;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) +
                                     static_cast<std::uint32_t>(base));
}

/// Whether a number fits into a signed field of so many bytes.
bool fits(std::int64_t value, unsigned bytes) {
    const std::int64_t limit = std::int64_t{1} << (8 * bytes - 1);
    return value >= -limit && value < limit;
}

/// Appends one value and answers its size code.
unsigned putValue(std::vector<std::uint8_t>& out, std::int32_t value, std::int32_t previous,
                  unsigned absoluteCode) {
    const std::int64_t difference = std::int64_t{value} - previous;
    unsigned code = 0;
    while (code < absoluteCode && !fits(difference, code + 1))
        ++code;
    const auto bits =
        static_cast<std::uint32_t>(code == absoluteCode ? std::int64_t{value} : difference);
    for (unsigned byte = code + 1; byte-- > 0;) {
        out.push_back(static_cast<std::uint8_t>(bits >> (8 * byte)));
    }
    return code;
}

std::int32_t clampTo16(std::int32_t value) {
    using Limits = std::numeric_limits<std::int16_t>;
    return std::clamp<std::int32_t>(value, Limits::min(), Limits::max());
}

/// The reverse of decodePiece.
void encodePiece(const RawRecord* points, std::size_t count, std::vector<std::uint8_t>& out) {
    RawRecord previous;
    for (std::size_t i = 0; i < count; ++i) {
        RawRecord point = points[i];
        point.fourth = clampTo16(point.fourth);
        point.intensity = clampTo16(point.intensity);
        const std::size_t control = out.size();
        out.push_back(0);
        unsigned codes = putValue(out, point.x, previous.x, 3) << 6;
        codes |= putValue(out, point.y, previous.y, 3) << 4;
        codes |= putValue(out, point.z, previous.z, 3) << 2;
        codes |= putValue(out, point.fourth, previous.fourth, 1) << 1;
        codes |= putValue(out, point.intensity, previous.intensity, 1);
        out[control] = static_cast<std::uint8_t>(codes);
        previous = point;
    }
    out.push_back(0);
}

/// Takes the next point: a control byte, then the five values.
inline void takePoint(const std::uint8_t*& in, RawRecord& point) {
    const unsigned control = *in++;
    point.x = takeValue(in, control >> 6, 3, point.x);
    point.y = takeValue(in, control >> 4 & 3, 3, point.y);
    point.z = takeValue(in, control >> 2 & 3, 3, point.z);
    point.fourth = takeValue(in, control >> 1 & 1, 1, point.fourth);
    point.intensity = takeValue(in, control & 1, 1, point.intensity);
}

}  // namespace

std::size_t decodePiece(const std::uint8_t* piece, std::size_t count, RawRecord* out) {
    const std::uint8_t* in = piece;
    RawRecord point;
    for (std::size_t i = 0; i < count; ++i) {
        takePoint(in, point);
        out[i] = point;
    }
    return static_cast<std::size_t>(in - piece) + 1;
}

CutPiece decodeCutPiece(const std::uint8_t* bytes, std::size_t size, std::size_t count,
                        RawRecord* out) {
    std::array<std::uint8_t, kPieceBuffer> padded{};
    std::copy_n(bytes, std::min<std::size_t>(size, kLongestPiece), padded.begin());
    const std::uint8_t* in = padded.data();
    CutPiece piece;
    RawRecord point;
    for (std::size_t i = 0; i < count; ++i) {
        takePoint(in, point);
        out[i] = point;
        if (static_cast<std::size_t>(in - padded.data()) <= size) ++piece.points;
    }
    piece.used = static_cast<std::size_t>(in - padded.data()) + 1;
    return piece;
}

void encodeCompressedLine(const RawRecord* line, std::size_t count,
                          std::vector<std::uint8_t>& bytes) {
    for (std::size_t first = 0; first < count; first += kPiecePoints) {
        const std::size_t length = bytes.size();
        bytes.resize(length + sizeof(std::uint32_t));
        encodePiece(line + first, std::min(kPiecePoints, count - first), bytes);
        storeU32(bytes.data() + length,
                 static_cast<std::uint32_t>(bytes.size() - length - sizeof(std::uint32_t)));
    }
}

}  // namespace brisko
