#include "limits/layouts.h"

#include <cmath>

namespace brisko::limits {

namespace {

template <class T>
void append(Bytes& bytes, T value) {
    const std::size_t end = bytes.size();
    bytes.resize(end + sizeof value);
    std::memcpy(bytes.data() + end, &value, sizeof value);
}

void appendAngles(Bytes& bytes) {
    // Temperature, pressure, start and stop of azimuth and elevation, degrees.
    for (const float value : {20.F, 1013.F, 0.F, -57.F, 360.F, 86.F})
        append(bytes, value);
}

Bytes commonHeader(const std::string& version, const std::string& model) {
    Bytes bytes(78, 0);
    std::memcpy(bytes.data(), version.data(), version.size());
    std::memcpy(bytes.data() + 32, model.data(), model.size());
    return bytes;
}

}  // namespace

Bytes cl3Header(std::uint32_t blocks) {
    Bytes bytes = commonHeader("CL3_0.7", "BENCH");
    appendAngles(bytes);
    append(bytes, 360.0F / static_cast<float>(options().columns));
    append(bytes, 143.0F / static_cast<float>(options().rows));
    append(bytes, blocks);
    append(bytes, std::uint8_t{1});
    return bytes;
}

Bytes clrHeader(std::uint32_t columns, std::uint32_t rows, std::uint32_t format,
                std::uint32_t blocks, const std::string& model) {
    Bytes bytes = commonHeader("CLR_0.7", model);
    append(bytes, std::uint16_t{0});
    appendAngles(bytes);
    for (const std::uint32_t value : {columns, rows, format, blocks})
        append(bytes, value);
    return bytes;
}

Bytes ijHeader(std::uint32_t columns, std::uint32_t rows) {
    Bytes bytes(32, 0);
    std::memcpy(bytes.data(), "CL3_IJ_0.2", 10);
    for (const std::uint32_t value : {tilesAlong(columns) * tilesAlong(rows), columns, rows, kTile})
        append(bytes, value);
    return bytes;
}

const Matrix& alignment() {
    static const double c = std::cos(0.3), s = std::sin(0.3);
    static const Matrix matrix{{c, -s, 0, 0, s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    return matrix;
}

const Matrix& identity() {
    static const Matrix matrix{{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    return matrix;
}

void writeAlignment(const std::string& path) {
    const File file = openOrExit(path, "wt");
    const double* m = alignment().m;
    std::fprintf(file.get(),
                 "CL3_ALG_0.1\n"
                 "%.15le %.15le 0.0 0.0 //matrix 1\n"
                 "%.15le %.15le 0.0 0.0 //matrix 2\n"
                 "0.0 0.0 1.0 0.0 //matrix 3\n"
                 "0.0 0.0 0.0 1.0 //matrix 4\n"
                 "2200 // max intensity\n1 // min intensity\n1 // block size\n",
                 m[0], m[1], m[4], m[5]);
}

void encodeChunk(std::span<const RawPoint> points, Bytes& out) {
    std::int32_t before[5] = {};
    for (const RawPoint& point : points) {
        const std::int32_t now[5] = {point.x, point.y, point.z, point.quality, point.intensity};
        unsigned control = 0;
        const std::size_t controlAt = out.size();
        out.push_back(0);
        for (unsigned field = 0; field < 5; ++field) {
            const std::int32_t difference = now[field] - before[field];
            const auto fits = [difference](int bits) {
                return difference >= -(1 << bits) && difference < (1 << bits);
            };
            const bool wide = field < 3;  // up to four bytes; quality and intensity up to two
            const int longest = wide ? 3 : 1;
            int code = fits(7) ? 0 : wide && fits(15) ? 1 : wide && fits(23) ? 2 : longest;
            const std::int32_t value = code == longest ? now[field] : difference;
            control |= static_cast<unsigned>(code) << (wide ? 6 - 2 * field : 4 - field);
            for (; code >= 0; --code)
                out.push_back(static_cast<std::uint8_t>(value >> (8 * code)));
            before[field] = now[field];
        }
        out[controlAt] = static_cast<std::uint8_t>(control);
    }
    out.push_back(0);  // the byte that follows the last point
}

namespace {

/// A sign-extended big-endian value of one to four bytes.
std::int32_t bigEndian(const std::uint8_t* in, unsigned bytes) {
    const auto word = static_cast<std::int32_t>(__builtin_bswap32(load<std::uint32_t>(in)));
    return word >> (32 - 8 * bytes);
}

/// Values may leave the range of 32 bits only in damaged files; then they wrap.
std::int32_t next(const std::uint8_t*& in, unsigned bytes, unsigned whole, std::int32_t before) {
    const auto base = static_cast<std::uint32_t>(bytes == whole ? 0 : before);
    const auto value = static_cast<std::uint32_t>(bigEndian(in, bytes)) + base;
    in += bytes;
    return static_cast<std::int32_t>(value);
}

}  // namespace

const std::uint8_t* decodeChunk(const std::uint8_t* in, std::uint32_t count, RawPoint* out) {
    RawPoint p{};
    for (std::uint32_t k = 0; k < count; ++k) {
        const unsigned control = *in++;
        p.x = next(in, (control >> 6) + 1, 4, p.x);
        p.y = next(in, (control >> 4 & 3) + 1, 4, p.y);
        p.z = next(in, (control >> 2 & 3) + 1, 4, p.z);
        p.quality = next(in, (control >> 1 & 1) + 1, 2, p.quality);
        p.intensity = next(in, (control & 1) + 1, 2, p.intensity);
        out[k] = p;
    }
    return in + 1;
}

}  // namespace brisko::limits
