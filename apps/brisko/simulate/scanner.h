#pragma once

#include "simulate/noise.h"
#include "simulate/scan_grid.h"
#include "simulate/stations.h"

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::tool {

/// What a cell of the grid holds after a measurement.
struct Measurement {
    double x = 0, y = 0, z = 0;  // metres, scanner frame
    float intensity = 0;         // 1 to 2200; 0 where no light came back
    Colour colour;               // of the surface, as a photograph shows it

    bool measured() const { return intensity > 0; }
};

/// One of the passes that the scanner makes over the grid, each with a range interval of its own.
struct ScanPass {
    std::uint32_t number = 0;  // from 0 through all files of a series
    std::uint8_t flag = 0;
};

struct ScannerSettings {
    std::uint64_t seed = 1;
    double rangeNoise = 0.0015;  // metres, standard deviation of the first pass
};

/// A terrestrial scanner at its station. A measurement depends on seed, pass and cell alone, so
/// columns can be measured in any order and on any number of threads.
///
/// The first pass sees everything its range interval lets it see. Later passes are noisier, miss
/// some cells and now and then catch something in front of the surface.
class Scanner {
public:
    Scanner(const Station& station, const ScanGrid& grid, const ScannerSettings& settings);

    /// Measures all rows of a column. `column` has a place for every row.
    void measureColumn(const ScanPass& pass, std::uint32_t number,
                       std::span<Measurement> column) const;

private:
    /// The direction of a row or a column as sine and cosine.
    struct Turn {
        double sine = 0, cosine = 0;
    };
    static Turn turn(double degrees);

    Measurement measure(const ScanPass& pass, const Vector3& direction, Noise noise) const;

    const Station& m_station;
    ScanGrid m_grid;
    ScannerSettings m_settings;
    std::vector<Turn> m_rowTurns;
};

}  // namespace brisko::tool
