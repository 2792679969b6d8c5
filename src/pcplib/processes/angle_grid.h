#pragma once

#include <brisko_codec/file_header.h>

#include "codec/ij_entry_stream.h"

#include <cstdint>
#include <optional>

namespace QelPcpLib {

/// The scan grid as the angles of a header describe it: azimuth counter-clockwise from +x, zenith angle
/// from +z, degrees. Headers whose vertical angles leave 0 to 180 speak of elevations above the
/// horizon instead.
class AngleGrid {
public:
    /// Nothing when the header gives no usable grid: no step, no span, or numbers that are not finite.
    static std::optional<AngleGrid> fromHeader(const CL3FileHeader& header);

    std::uint32_t columns() const { return m_azimuth.count; }
    std::uint32_t rows() const { return m_vertical.count; }

    /// The cell in whose direction a point lies, metres in the scanner's frame; the nearest cell of
    /// the grid's edge for one outside of it.
    brisko::Cell cellOf(double x, double y, double z) const;

private:
    struct Axis {
        double start = 0;  // degrees, of step 0
        double step = 1;   // degrees, with its sign
        std::uint32_t count = 0;

        std::uint32_t nearest(double offset) const;
    };
    static Axis axis(float start, float stop, float step, std::size_t count);

    Axis m_azimuth;
    Axis m_vertical;
    bool m_isElevation = false;
};

}  // namespace QelPcpLib
