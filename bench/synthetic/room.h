#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

/// Points for measurements: quick to make and lively enough that nothing compresses or predicts them
/// away. The references' files and both sides' writing jobs are made of them.
namespace brisko::bench {

/// The first 31 bytes are a CL3 record of point format 1.
struct Point {
    double x, y, z;  // metres
    float intensity;
    std::uint8_t red, green, blue;
};
static_assert(sizeof(Point) == 32);
inline constexpr std::size_t kRecord = 31;

inline std::uint64_t mix(std::uint64_t z) {
    z += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

/// A room of 20 x 14 x 6 m around the scanner with 5 cm of relief and about 1.5 mm of noise, on a
/// lattice of 0.1 mm, so that its points survive a CLR file to the bit.
class Room {
public:
    Room(std::uint32_t columns, std::uint32_t rows);

    std::uint32_t columns() const { return m_columns; }
    std::uint32_t rows() const { return m_rows; }
    std::uint64_t cells() const { return std::uint64_t{m_columns} * m_rows; }

    /// About 90 % of the cells: a few blind patches and 2 % of single drop-outs are missing.
    static bool hasReturn(std::uint32_t column, std::uint32_t row) {
        if ((((column >> 6) * 7 + (row >> 6) * 13) % 12) == 5) return false;
        return mix(std::uint64_t{column} << 32 | row) % 50 != 0;
    }

    /// The point of a cell. Each further block sees the surface 4 mm farther.
    Point at(std::uint32_t column, std::uint32_t row, std::uint32_t block = 0) const;

private:
    std::uint32_t m_columns, m_rows;
    std::vector<double> m_cosAzimuth, m_sinAzimuth, m_cosElevation, m_sinElevation;
};

}  // namespace brisko::bench
