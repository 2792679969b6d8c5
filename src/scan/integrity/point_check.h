#pragma once

#include "scan/integrity/scan_check.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>

#include <optional>

namespace brisko::scan {

/// The directions that a header's angles cover: azimuth counter-clockwise from +x and zenith angle
/// from +z, degrees; elevations above the horizon where its numbers leave 0 to 180.
class DirectionRange {
public:
    /// Nothing where the header gives no directions: no steps, no span, not finite, or numbers that
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

/// Looks at single points: finite numbers, and whether they lie in directions that the header covers.
class PointCheck {
public:
    PointCheck(ScanCheck& check, const CLFileHeader& header);

    /// A record that holds a point; its number within the block counts from 0.
    void add(const CellPoint& point, std::uint64_t block, std::uint64_t number,
             std::uint64_t offset);
    /// Where much lies outside, the header counts its angles in another way than the points do, and no single
    /// point is to blame.
    void finish();

private:
    void note(const char* kind, const CellPoint& point, std::uint64_t block, std::uint64_t number,
              std::uint64_t offset, const std::string& what);

    ScanCheck& m_check;
    std::optional<DirectionRange> m_range;
    std::uint64_t m_outside = 0;
};

/// Reports a header with angles that are not finite.
void checkHeaderAngles(ScanCheck& check, const CLFileHeader& header);
/// Reports an alignment file that exists and cannot be used.
void checkAlignmentFile(ScanCheck& check);

}  // namespace brisko::scan
