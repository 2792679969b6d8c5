#pragma once

#include <brisko_codec/cell_reader.h>

#include "layouts/cl3_record.h"

#include <cmath>

namespace brisko::scan {

/// A record of a CL3 file; format 1 has a colour. Column and row are left alone.
inline void decodeCL3Record(const std::uint8_t* bytes, unsigned pointFormat, CellPoint& point) {
    CL3Record record;
    decodeCL3Position(bytes, record);
    if (pointFormat != 0) decodeCL3Colour(bytes, record);
    point.x = record.x;
    point.y = record.y;
    point.z = record.z;
    point.intensity = record.intensity;
    point.red = record.red;
    point.green = record.green;
    point.blue = record.blue;
}

/// Whether a record holds a point: the others are passed over by readers.
inline bool isPoint(const CellPoint& p) {
    return isMeasured(p.x, p.y, p.z, p.intensity);
}

inline bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) &&
           std::isfinite(p.intensity);
}

}  // namespace brisko::scan
