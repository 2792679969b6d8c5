#pragma once

#include "apps/tool_run.h"

#include <cmath>
#include <string>

namespace brisko::test {

/// How columns and rows of a made-up scan lie in space: degrees of cell 0 and to the next.
struct ScanAngles {
    double azimuth = 0, azimuthStep = 0;
    double elevation = 0, elevationStep = 0;
};

/// A PTX text of a wavy surface with holes in it and four decimals: no two cells are alike, about
/// one in seven is empty.
inline std::string madeScan(int columns, int rows, const ScanAngles& angles, bool withColour,
                            const std::string& frameLines = kIdentityLines) {
    constexpr double kRadians = 3.14159265358979323846 / 180;
    std::string cells;
    for (int column = 0; column < columns; ++column) {
        for (int row = 0; row < rows; ++row) {
            const char* colourOfNone = withColour ? " 0 0 0" : "";
            if ((column * 5 + row * 3) % 7 == 0) {
                cells += std::string("0 0 0 0.5") + colourOfNone + "\n";
                continue;
            }
            const double azimuth = (angles.azimuth + column * angles.azimuthStep) * kRadians;
            const double elevation = (angles.elevation + row * angles.elevationStep) * kRadians;
            const double range = 5 + std::sin(column * 0.1) + std::cos(row * 0.2);
            char line[128];
            std::snprintf(line, sizeof line, "%.4f %.4f %.4f %.5f",
                          range * std::cos(elevation) * std::cos(azimuth),
                          range * std::cos(elevation) * std::sin(azimuth),
                          range * std::sin(elevation),
                          ((column * 31 + row * 17) % 1000 + 1) / 1001.0);
            cells += line;
            if (withColour) {
                std::snprintf(line, sizeof line, " %d %d %d", column % 256, row % 256,
                              (column + row) % 256);
                cells += line;
            }
            cells += "\n";
        }
    }
    return ptxText(columns, rows, cells, frameLines);
}

}  // namespace brisko::test
