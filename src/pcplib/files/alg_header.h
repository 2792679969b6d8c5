#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace QelPcpLib {

/// The only version of ALG files that there is, and their first line.
inline constexpr char kAlgVersion[] = "CL3_ALG_0.1";

/// What an ALG file says about the whole scan.
struct AlgHeader {
    std::string version = kAlgVersion;
    /// The alignment column by column (element of row r and column c at r + 4c), while a line of the
    /// file is a row: loading it into a matrix kept row by row transposes.
    std::array<double, 16> matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float maxIntensity = 0;
    float minIntensity = 0;
    std::int32_t blockSize = 0;  // carried along; its meaning is the writer's
};

/// The box around the points of one block, metres, scanner frame.
struct AlgArea {
    std::array<double, 3> max{};
    std::array<double, 3> min{};
};

}  // namespace QelPcpLib
