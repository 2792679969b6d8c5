#pragma once

#include "layouts/cl3_record.h"
#include "layouts/clr_record.h"

#include <brisko_codec/cell_reader.h>

#include <cmath>

/// The records of both native formats as points of one kind. Column and row are not in a record; they
/// stay 0.
namespace brisko {

inline CellPoint toCellPoint(const CL3Record& record) {
    CellPoint point;
    point.x = record.x;
    point.y = record.y;
    point.z = record.z;
    point.intensity = record.intensity;
    point.red = record.red;
    point.green = record.green;
    point.blue = record.blue;
    return point;
}

inline CellPoint toCellPoint(const RawRecord& record) {
    CellPoint point;
    point.x = toMetres(record.x);
    point.y = toMetres(record.y);
    point.z = toMetres(record.z);
    point.intensity = static_cast<float>(record.intensity);
    return point;
}

/// The bytes of a record in a CL3 file; without a point in them, too.
inline CellPoint decodeCellPoint(const std::uint8_t* in, CL3PointFormat format) {
    CL3Record record;
    decodeCL3Position(in, record);
    if (format == CL3PointFormat::Coloured) decodeCL3Colour(in, record);
    return toCellPoint(record);
}

inline bool isMeasured(const CellPoint& p) {
    return isMeasured(p.x, p.y, p.z, p.intensity);
}

inline bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) &&
           std::isfinite(p.intensity);
}

}  // namespace brisko
