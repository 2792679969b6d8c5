#pragma once

#include <brisko_codec/cell_reader.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace brisko::tool {

static_assert(std::endian::native == std::endian::little, "numbers are copied as they stand");

/// A record of a CL3 file; format 1 has a colour. Column and row are left alone.
inline void decodeCL3Record(const std::uint8_t* record, unsigned pointFormat, CellPoint& point) {
    std::memcpy(&point.x, record, sizeof point.x);
    std::memcpy(&point.y, record + 8, sizeof point.y);
    std::memcpy(&point.z, record + 16, sizeof point.z);
    std::memcpy(&point.intensity, record + 24, sizeof point.intensity);
    if (pointFormat == 0) return;
    point.red = record[28];
    point.green = record[29];
    point.blue = record[30];
}

/// Whether a record holds a point: the others are passed over by readers.
inline bool isPoint(const CellPoint& p) {
    return p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0;
}

inline bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) &&
           std::isfinite(p.intensity);
}

}  // namespace brisko::tool
