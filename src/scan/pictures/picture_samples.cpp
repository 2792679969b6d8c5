#include "scan/pictures/picture_samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace brisko::scan {
namespace {

// A sign, 6 bits of exponent and 9 of fraction: from 2^-20 to 2^43.
constexpr std::uint32_t kFractionBits = 9;
constexpr std::uint32_t kDroppedBits = 23 - kFractionBits;
constexpr std::uint32_t kLeastBits = (127U - 20U) << 23;
constexpr std::uint32_t kMostCode = 0x7fff;
constexpr std::uint16_t kZero = 0x8000;

}  // namespace

std::uint16_t codeOf(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(std::abs(value));
    const std::uint32_t above = bits > kLeastBits ? bits - kLeastBits : 0;
    const std::uint32_t code =
        std::min((above + (1U << (kDroppedBits - 1))) >> kDroppedBits, kMostCode);
    return static_cast<std::uint16_t>(std::signbit(value) ? kZero - code : kZero + code);
}

float valueOf(std::uint16_t code) {
    const bool isNegative = code < kZero;
    const auto size = static_cast<std::uint32_t>(isNegative ? kZero - code : code - kZero);
    if (size == 0) return 0;
    const auto value = std::bit_cast<float>((size << kDroppedBits) + kLeastBits);
    return isNegative ? -value : value;
}

SampleParts partsOf(PictureMode mode) {
    switch (mode) {
        case PictureMode::Shaded:
            return {.shade = true};
        case PictureMode::Range:
        case PictureMode::Height:
            return {.shade = true, .value = true};
        case PictureMode::Intensity:
        case PictureMode::Incidence:
            return {.value = true};
        case PictureMode::Colour:
        case PictureMode::Normals:
            break;
    }
    return {.colour = true};
}

PictureSamples::PictureSamples(std::uint32_t width, std::uint32_t height, SampleParts parts,
                               bool exactValues)
    : m_width(width),
      m_height(height),
      m_parts(parts),
      m_exact(exactValues),
      m_presentStride((std::size_t{width} + 7) / 8),
      m_present(m_presentStride * height) {
    const std::size_t cells = std::size_t{width} * height;
    if (parts.shade) m_shades.resize(cells);
    if (parts.colour) m_colours.resize(3 * cells);
    if (parts.value && exactValues) m_values.resize(cells);
    if (parts.value && !exactValues) m_codes.resize(cells);
}

void PictureSamples::setColumn(std::uint32_t column, std::span<const PictureSample> samples) {
    std::size_t cell = column;
    for (std::size_t row = 0; row < samples.size(); ++row, cell += m_width) {
        const PictureSample& sample = samples[row];
        if (sample.isEmpty) continue;
        std::uint8_t& present = m_present[row * m_presentStride + column / 8];
        present = static_cast<std::uint8_t>(present | 1U << (column % 8));
        if (m_parts.shade) m_shades[cell] = static_cast<std::uint8_t>(sample.shade * 255 + 0.5F);
        if (m_parts.value && m_exact) m_values[cell] = sample.value;
        if (m_parts.value && !m_exact) m_codes[cell] = codeOf(sample.value);
        if (m_parts.colour)
            std::copy(sample.colour.begin(), sample.colour.end(), m_colours.data() + 3 * cell);
    }
}

bool PictureSamples::isEmpty() const {
    return std::all_of(m_present.begin(), m_present.end(), [](std::uint8_t b) { return b == 0; });
}

PictureSample PictureSamples::at(std::uint32_t column, std::uint32_t row) const {
    PictureSample sample;
    if (!isPresent(column, row)) return sample;
    const std::size_t cell = std::size_t{row} * m_width + column;
    sample.isEmpty = false;
    if (m_parts.shade) sample.shade = static_cast<float>(m_shades[cell]) / 255;
    if (m_parts.value) sample.value = m_exact ? m_values[cell] : valueOf(m_codes[cell]);
    if (m_parts.colour) std::copy_n(m_colours.data() + 3 * cell, 3, sample.colour.begin());
    return sample;
}

PictureSample PictureSamples::mean(const CellRange& columns, const CellRange& rows) const {
    if (columns.end - columns.first == 1 && rows.end - rows.first == 1)
        return at(columns.first, rows.first);
    float count = 0, shade = 0, value = 0;
    std::array<float, 3> colour{};
    for (std::uint32_t row = rows.first; row < rows.end; ++row) {
        for (std::uint32_t column = columns.first; column < columns.end; ++column) {
            const PictureSample sample = at(column, row);
            if (sample.isEmpty) continue;
            count += 1;
            shade += sample.shade;
            value += sample.value;
            for (std::size_t c = 0; c < 3; ++c)
                colour[c] += sample.colour[c];
        }
    }
    PictureSample mean;
    if (count == 0) return mean;
    mean.isEmpty = false;
    mean.shade = shade / count;
    mean.value = value / count;
    for (std::size_t c = 0; c < 3; ++c)
        mean.colour[c] = static_cast<std::uint8_t>(std::lround(colour[c] / count));
    return mean;
}

}  // namespace brisko::scan
