#pragma once

#include "scan/view/packed_planes.h"

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <span>
#include <string>

/// The points of a scan as a page keeps them: an even part of them, whole numbers, packed.
namespace brisko::scan {

inline constexpr double kViewLength = 0.00025;  // metres: the unit of ranges and axes
inline constexpr double kViewAngle =
    6.283185307179586 / (1 << 19);  // radians: a part of a full turn

/// Takes all points of a scan, keeps some, and writes them for the page.
class ViewPoints {
public:
    virtual ~ViewPoints() = default;

    /// The points are finite, in the scanner's frame.
    virtual void add(const CellPoint& point) = 0;
    /// Packs what was kept. Asked once, at the end.
    virtual void write(PackedText& text) = 0;
    /// What the page has to know to unpack it: members of a JSON object, each followed by a comma.
    virtual std::string members() const = 0;

    virtual std::uint64_t kept() const = 0;
    std::uint64_t tooFar() const { return m_tooFar; }
    std::uint32_t columns() const { return m_columns; }  // kept ones; 0 for a cloud
    std::uint32_t rows() const { return m_rows; }

protected:
    std::uint64_t m_tooFar = 0;
    std::uint32_t m_columns = 0, m_rows = 0;
};

/// What is kept of a point besides its place.
struct ViewValues {
    ViewValues() = default;
    explicit ViewValues(const CellPoint& p);

    std::uint16_t intensity = 0;
    std::uint8_t colour[3] = {0, 0, 0};
};

/// Intensities and colours of points in turn, each as the difference to the one before: packed as red,
/// green less red, blue less green. Without any colour there are none.
class ViewValuePlanes {
public:
    void add(const ViewValues& values);
    void write(PackedText& text) const;
    bool hasColour() const { return m_hasColour; }

private:
    BytePlanes m_intensities{2};
    BytePlanes m_red{1}, m_green{1}, m_blue{1};
    ViewValues m_last;
    bool m_hasColour = false;
};

}  // namespace brisko::scan
