#pragma once

#include "base/bytes.h"
#include "layouts/layout.h"

/// CL3 records as plain values, for the loops that handle millions of them.
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

}  // namespace brisko
