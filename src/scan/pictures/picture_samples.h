#pragma once

#include <brisko_scan/panorama.h>

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::scan {

/// What a cell of the picture shows, before the scale of its values is known.
struct PictureSample {
    bool isEmpty = true;
    float shade = 1;         // 0 to 1; the colour is darkened by it
    float value = 0;         // to be placed on the scale
    PictureColour colour{};  // where colours are shown as they are
};

/// Cells side by side: columns, or rows.
struct CellRange {
    std::uint32_t first = 0, end = 0;

    bool operator==(const CellRange&) const = default;
};

/// What samples of a mode consist of.
struct SampleParts {
    bool shade = false, value = false, colour = false;
};

SampleParts partsOf(PictureMode mode);

/// The samples of a picture in one to three bytes each. Values are kept to 0.2 %, or exactly.
class PictureSamples {
public:
    PictureSamples(std::uint32_t width, std::uint32_t height, SampleParts parts, bool exactValues);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }

    /// Threads may set columns at a time that lie in different eights, from column 0 on.
    ///   samples  from the first row on
    void setColumn(std::uint32_t column, std::span<const PictureSample> samples);

    /// Whether all samples are empty.
    bool isEmpty() const;
    PictureSample at(std::uint32_t column, std::uint32_t row) const;
    /// The mean of the samples that are not empty.
    PictureSample mean(const CellRange& columns, const CellRange& rows) const;

private:
    bool isPresent(std::uint32_t column, std::uint32_t row) const {
        return m_present[row * m_presentStride + column / 8] >> (column % 8) & 1;
    }

    std::uint32_t m_width, m_height;
    SampleParts m_parts;
    bool m_exact;
    std::size_t m_presentStride;  // bytes a row
    std::vector<std::uint8_t> m_present;
    std::vector<std::uint8_t> m_shades, m_colours;
    std::vector<std::uint16_t> m_codes;
    std::vector<float> m_values;
};

/// A value in 16 bits, to 0.2 %: codes order as their values do.
std::uint16_t codeOf(float value);
float valueOf(std::uint16_t code);

}  // namespace brisko::scan
