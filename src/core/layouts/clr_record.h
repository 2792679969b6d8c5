#pragma once

#include <brisko_codec/compressed_lines.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "layouts/layout.h"

#include <cmath>

/// CLR records as plain values, for the loops that handle millions of them.
namespace brisko {

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

}  // namespace brisko
