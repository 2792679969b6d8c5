#pragma once

#include "limits/measure.h"
#include "synthetic/check_values.h"
#include "synthetic/room.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

/// The bytes of the files that the references read and write.
namespace brisko::limits {

using bench::kRecord;
using bench::Point;

using bench::kCL3Header, bench::kCLRHeader, bench::kIJHeader;
inline constexpr std::size_t kBlockHeader = 5;  // point count and flag
inline constexpr std::uint32_t kCL3Block = 1'000'000;
inline constexpr std::uint32_t kTile = 256;  // cells along the edge of a tile
inline constexpr std::uint32_t kTileCells = kTile * kTile;
inline constexpr std::uint32_t kChunk = 250;  // points of a compressed piece

inline std::uint32_t tilesAlong(std::uint32_t cells) {
    return (cells + kTile - 1) / kTile;
}

template <class T>
T load(const void* in) {
    T value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

/// A record of a CLR file: 1/10000 m, quality, intensity.
struct RawPoint {
    std::int32_t x, y, z, quality, intensity;
};
static_assert(sizeof(RawPoint) == 20);

inline std::int32_t stored(double metres) {
    return static_cast<std::int32_t>(metres * 10000.0 + 0.5);
}
inline RawPoint rawOf(const Point& p) {
    return {stored(p.x), stored(p.y), stored(p.z), 0,
            static_cast<std::int32_t>(static_cast<double>(p.intensity) + 0.5)};
}

/// Field by field: a copy of 31 bytes that is then loaded by fields would fail to be forwarded.
inline bool decodeRecord(const std::uint8_t* in, double& x, double& y, double& z, float& intensity,
                         std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue) {
    x = load<double>(in);
    y = load<double>(in + 8);
    z = load<double>(in + 16);
    intensity = load<float>(in + 24);
    red = in[28], green = in[29], blue = in[30];
    return intensity > 0 || x != 0 || y != 0 || z != 0;
}
inline void encodeRecord(std::uint8_t* out, double x, double y, double z, float intensity,
                         std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    std::memcpy(out, &x, 8);
    std::memcpy(out + 8, &y, 8);
    std::memcpy(out + 16, &z, 8);
    std::memcpy(out + 24, &intensity, 4);
    out[28] = red, out[29] = green, out[30] = blue;
}

using Bytes = std::vector<std::uint8_t>;

/// Headers of the grid that the options name.
Bytes cl3Header(std::uint32_t blocks);
Bytes clrHeader(std::uint32_t columns, std::uint32_t rows, std::uint32_t format,
                std::uint32_t blocks, const std::string& model = "RVX2000");
Bytes ijHeader(std::uint32_t columns, std::uint32_t rows);

/// A matrix row by row, for column vectors.
struct Matrix {
    double m[16];
};
/// What the ALG files beside the scans hold: a turn about z.
const Matrix& alignment();
/// For scans without an ALG file. The loops do the same work with it.
const Matrix& identity();
void writeAlignment(const std::string& path);

inline void project(const double* m, double& x, double& y, double& z) {
    const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
    const double a = (m[0] * x + m[1] * y + m[2] * z + m[3]) / w;
    const double b = (m[4] * x + m[5] * y + m[6] * z + m[7]) / w;
    const double c = (m[8] * x + m[9] * y + m[10] * z + m[11]) / w;
    x = a, y = b, z = c;
}

/// Compressed lines: a control byte ahead of each point, then the differences of its fields to the
/// point before it in one to four big-endian bytes; four (or two, for quality and intensity) hold
/// the value itself.
void encodeChunk(std::span<const RawPoint> points, Bytes& out);
/// Reads up to three bytes beyond the chunk; returns where the next one begins.
const std::uint8_t* decodeChunk(const std::uint8_t* in, std::uint32_t count, RawPoint* out);

}  // namespace brisko::limits
