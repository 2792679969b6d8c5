#include "synthetic/room.h"

#include <algorithm>
#include <numbers>

namespace brisko::bench {

Room::Room(std::uint32_t columns, std::uint32_t rows)
    : m_columns(columns),
      m_rows(rows),
      m_cosAzimuth(columns),
      m_sinAzimuth(columns),
      m_cosElevation(rows),
      m_sinElevation(rows) {
    for (std::uint32_t i = 0; i < columns; ++i) {
        const double azimuth = i * 2 * std::numbers::pi / columns;
        m_cosAzimuth[i] = std::cos(azimuth);
        m_sinAzimuth[i] = std::sin(azimuth);
    }
    for (std::uint32_t i = 0; i < rows; ++i) {
        const double elevation = -1.0 + i * 2.5 / rows;
        m_cosElevation[i] = std::cos(elevation);
        m_sinElevation[i] = std::sin(elevation);
    }
}

namespace {

double rangeToWalls(double dx, double dy, double dz) {
    constexpr double kHalfLength = 10, kHalfWidth = 7, kCeiling = 4.3, kFloor = -1.7;
    double range = 1e9;
    if (std::fabs(dx) > 1e-9) range = std::min(range, kHalfLength / std::fabs(dx));
    if (std::fabs(dy) > 1e-9) range = std::min(range, kHalfWidth / std::fabs(dy));
    if (dz > 1e-9) range = std::min(range, kCeiling / dz);
    if (dz < -1e-9) range = std::min(range, kFloor / dz);
    return range;
}

double onLattice(double metres) {
    return static_cast<std::int32_t>(metres * 1e4) / 1e4;
}

}  // namespace

Point Room::at(std::uint32_t column, std::uint32_t row, std::uint32_t block) const {
    const double dx = m_cosElevation[row] * m_cosAzimuth[column];
    const double dy = m_cosElevation[row] * m_sinAzimuth[column];
    const double dz = m_sinElevation[row];
    const std::uint64_t noise =
        mix(std::uint64_t{block} << 60 ^ std::uint64_t{column} << 32 ^ std::uint64_t{row});
    const auto bits = [noise](int from, unsigned mask) {
        return static_cast<double>(noise >> from & mask);
    };
    const double relief =
        0.05 * m_cosAzimuth[(column * 5) % m_columns] * m_sinElevation[(row * 3) % m_rows];
    const double range =
        rangeToWalls(dx, dy, dz) + relief + (bits(0, 1023) - 511.5) * 3e-6 + 0.004 * block;
    const double shine =
        std::fabs(m_cosElevation[row] * m_cosAzimuth[(column * 3) % m_columns]) * 1200;
    Point p{};
    p.x = onLattice(dx * range);
    p.y = onLattice(dy * range);
    p.z = onLattice(dz * range);
    p.intensity = static_cast<float>(300 + std::floor(shine) + bits(10, 63));
    p.red =
        static_cast<std::uint8_t>(128 + 90 * m_sinAzimuth[(column * 7) % m_columns] + bits(16, 7));
    p.green =
        static_cast<std::uint8_t>(128 + 90 * m_sinElevation[(row * 5) % m_rows] + bits(19, 7));
    p.blue = static_cast<std::uint8_t>(128 + 50 * m_cosAzimuth[(column * 2) % m_columns] +
                                       40 * m_cosElevation[(row * 2) % m_rows] + bits(22, 7));
    return p;
}

}  // namespace brisko::bench
