#pragma once

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace brisko::scan {

/// Cells of equal angles around the scanner, as its own scans have them: columns turn clockwise seen
/// from above, rows go down from the highest.
struct AngleGrid {
    double step = 1;     // degrees, of columns and rows
    double azimuth = 0;  // of column 0, degrees counter-clockwise from +x
    double zenith = 0;   // of row 0, degrees from +z
    std::uint32_t columns = 0, rows = 0;

    /// Gives a point its cell; false where it has no direction: at the scanner's own place, or not
    /// finite.
    bool place(CellPoint& point) const;
};

/// Finds the grid that points lie in. Where most of them lie at multiples of the step from each other,
/// as those of a scan do, they come to lie in the middle of cells.
class AngleSurvey {
public:
    /// step: degrees, at least kLeastStep, at most kMostStep.
    explicit AngleSurvey(double step);
    static constexpr double kLeastStep = 0.001, kMostStep = 45;

    void add(std::span<const CellPoint> points);

    /// Points with a direction.
    std::uint64_t points() const { return m_points; }
    /// The rows from the highest point to the lowest. The columns of the whole circle, from the
    /// direction of +x; or, where 10 degrees or more are empty, those from there on.
    AngleGrid grid() const;

private:
    /// Where in a step the angles lie: a sum of directions on a circle that is one step long.
    struct Phase {
        double x = 0, y = 0;
        void add(double steps, double weight);
        double value() const;  // of a step, -0.5 to 0.5
    };
    struct Sector {
        float least, most;  // degrees clockwise; least > most: no point
    };

    AngleGrid wholeCircle() const;
    void leaveOutGap(AngleGrid& grid) const;

    double m_step;
    std::vector<Sector> m_sectors;  // as wide as a step
    Phase m_azimuth, m_zenith;
    double m_highest = 180, m_lowest = 0;  // zenith angles
    std::uint64_t m_points = 0;
};

}  // namespace brisko::scan
