#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What both sides of a measurement print about their results: the values of a pair must agree.
namespace brisko::bench {

/// What a host does with a point at least. All of it goes into the check value, so that no compiler
/// can leave a part of the reading out.
struct PointSum {
    double x = 0, y = 0, z = 0, intensity = 0;
    std::uint64_t colour = 0, cells = 0, points = 0;

    void add(double px, double py, double pz, float i, std::uint8_t r, std::uint8_t g,
             std::uint8_t b) {
        x += px;
        y += py;
        z += pz;
        intensity += static_cast<double>(i);
        colour += std::uint64_t{r} + g + b;
        ++points;
    }
    void addCell(std::uint32_t column, std::uint32_t row) { cells += column + row; }

    double value() const {
        return x + y + z + intensity + static_cast<double>(colour) +
               static_cast<double>(cells) * 1e-3 + static_cast<double>(points);
    }
};

/// Half of the points of the room are no farther from the scanner; metres.
inline constexpr double kNear = 5.4;

/// Bytes of the headers of scans and of their index.
inline constexpr std::size_t kCL3Header = 115, kCLRHeader = 120, kIJHeader = 48;

/// The size of a file and its bytes, each weighed by its place, from after the header (whose angles
/// and dates are the writer's own business) to 64 MiB at most. 0 where there is no such file.
double checkFile(const std::string& path, std::size_t headerSize);

/// The lines of a PTX file, and how many of them are cells without a point. Its numbers may be spelled in
/// several ways.
double checkPtx(const std::string& path);

}  // namespace brisko::bench
