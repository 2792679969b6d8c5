#pragma once

#include <brisko_codec/file_header.h>

#include <optional>

namespace brisko::scan {

/// The directions that a header's angles speak of: azimuth counter-clockwise from +x and zenith angle
/// from +z, degrees; elevations above the horizon where its numbers leave 0 to 180.
class DirectionRange {
public:
    /// Nothing where the header tells no directions: no steps, no span, not finite, or numbers that
    /// are no such angles.
    static std::optional<DirectionRange> fromHeader(const CLFileHeader& header);

    /// Whether a point, metres in the scanner's frame, lies in such a direction, give or take two
    /// steps and a centimetre: beams leave the instrument a little beside its centre.
    bool contains(double x, double y, double z) const;

private:
    struct Axis {
        double low = 0, high = 0, step = 0;  // degrees
    };
    static std::optional<Axis> axis(float start, float stop, float step);

    Axis m_azimuth;
    Axis m_vertical;
    bool m_isElevation = false;
};

}  // namespace brisko::scan
