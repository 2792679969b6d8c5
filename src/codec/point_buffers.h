#pragma once

#include <brisko_codec/point_batch.h>

#include <vector>

namespace brisko {

/// Arrays of its own for a loop that takes points in batches.
class PointBuffers {
public:
    static constexpr std::size_t kCapacity = 1024;

    PointArrays arrays() {
        return {m_positions.data(), m_intensities.data(), m_colours.data(), m_columns.data(),
                m_rows.data()};
    }
    const double* position(std::size_t i) const { return &m_positions[3 * i]; }
    float intensity(std::size_t i) const { return m_intensities[i]; }
    const std::uint8_t* colour(std::size_t i) const { return &m_colours[3 * i]; }
    std::uint32_t column(std::size_t i) const { return m_columns[i]; }
    std::uint32_t row(std::size_t i) const { return m_rows[i]; }

private:
    std::vector<double> m_positions = std::vector<double>(3 * kCapacity);
    std::vector<float> m_intensities = std::vector<float>(kCapacity);
    std::vector<std::uint8_t> m_colours = std::vector<std::uint8_t>(3 * kCapacity);
    std::vector<std::uint32_t> m_columns = std::vector<std::uint32_t>(kCapacity);
    std::vector<std::uint32_t> m_rows = std::vector<std::uint32_t>(kCapacity);
};

}  // namespace brisko
