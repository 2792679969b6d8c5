#pragma once

#include <cstdint>
#include <string_view>

namespace brisko::scan::e57 {

/// A number that depends on every bit of both.
inline std::uint64_t mixed(std::uint64_t digest, std::uint64_t more) {
    std::uint64_t z = (digest ^ more) + 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
}

inline std::uint64_t mixed(std::uint64_t digest, std::string_view text) {
    for (const char c : text)
        digest = mixed(digest, static_cast<unsigned char>(c));
    return digest;
}

}  // namespace brisko::scan::e57
