#pragma once

#include "base/bytes.h"
#include "base/checked.h"
#include "layouts/layout.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/compressed_lines.h>

#include <cmath>

/// The records of both native formats as plain values, for the loops that handle millions of them.
namespace brisko {

struct CL3Record {
    double x = 0, y = 0, z = 0;  // metres
    float intensity = 0;
    std::uint8_t red = 0, green = 0, blue = 0;
};

/// A record holds a point when its intensity is above 0 or any coordinate is not 0. A NaN coordinate
/// is not 0 either.
inline bool isMeasured(double x, double y, double z, float intensity) {
    return intensity > 0 || x != 0 || y != 0 || z != 0;
}

inline bool isMeasured(const CL3Record& record) {
    return isMeasured(record.x, record.y, record.z, record.intensity);
}

inline void decodeCL3Position(const std::uint8_t* in, CL3Record& record) {
    record.x = loadF64(in + cl3_record::kX);
    record.y = loadF64(in + cl3_record::kY);
    record.z = loadF64(in + cl3_record::kZ);
    record.intensity = loadF32(in + cl3_record::kIntensity);
}

inline void encodeCL3Position(const CL3Record& record, std::uint8_t* out) {
    storeF64(out + cl3_record::kX, record.x);
    storeF64(out + cl3_record::kY, record.y);
    storeF64(out + cl3_record::kZ, record.z);
    storeF32(out + cl3_record::kIntensity, record.intensity);
}

inline void decodeCL3Colour(const std::uint8_t* in, CL3Record& record) {
    record.red = in[cl3_record::kRed];
    record.green = in[cl3_record::kGreen];
    record.blue = in[cl3_record::kBlue];
}

inline void encodeCL3Colour(const CL3Record& record, std::uint8_t* out) {
    out[cl3_record::kRed] = record.red;
    out[cl3_record::kGreen] = record.green;
    out[cl3_record::kBlue] = record.blue;
}

static_assert(sizeof(RawRecord) == clr_record::kSize,
              "records are read from files straight into arrays of RawRecord");

inline RawRecord decodeRawRecord(const std::uint8_t* in) {
    return load<RawRecord>(in);
}
inline void encodeRawRecord(const RawRecord& record, std::uint8_t* out) {
    store(out, record);
}

inline bool isMeasured(const RawRecord& record) {
    return record.intensity > 0;
}

/// Stored units to metres.
inline double toMetres(std::int32_t stored) {
    return static_cast<double>(stored) / 10000.0;
}

/// Metres to stored units. Deliberate: one half is added, then the fraction is cut. Positive values
/// round to the nearest unit, negative ones come out up to one and a half units high; scans on disk
/// were written so.
inline std::int32_t toStoredLength(double metres) {
    return truncateToI32(metres * 10000.0 + 0.5);
}
inline std::int32_t toStoredIntensity(float intensity) {
    return truncateToI32(static_cast<double>(intensity) + 0.5);
}

/// Distance from the scanner, metres.
inline double rangeOf(const RawRecord& record) {
    const double x = toMetres(record.x), y = toMetres(record.y), z = toMetres(record.z);
    return std::sqrt(x * x + y * y + z * z);
}

// The records of both formats as points of one kind. Column and row are not in a record; they stay 0.

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
