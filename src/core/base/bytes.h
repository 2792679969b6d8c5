#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Little-endian numbers in byte arrays, at any address.
namespace brisko {

static_assert(std::endian::native == std::endian::little,
              "loads and stores below are plain copies; a big-endian machine needs a swap in them");

template <class Number>
inline Number load(const std::uint8_t* in) {
    Number value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

template <class Number>
inline void store(std::uint8_t* out, Number value) {
    std::memcpy(out, &value, sizeof value);
}

inline std::uint32_t loadU32(const std::uint8_t* in) {
    return load<std::uint32_t>(in);
}
inline std::int32_t loadI32(const std::uint8_t* in) {
    return load<std::int32_t>(in);
}
inline float loadF32(const std::uint8_t* in) {
    return load<float>(in);
}
inline double loadF64(const std::uint8_t* in) {
    return load<double>(in);
}

inline void storeU32(std::uint8_t* out, std::uint32_t value) {
    store(out, value);
}
inline void storeF32(std::uint8_t* out, float value) {
    store(out, value);
}
inline void storeF64(std::uint8_t* out, double value) {
    store(out, value);
}

}  // namespace brisko
