#pragma once

#include "layouts/ij_index.h"
#include "simulator/noise.h"
#include "simulator/stations.h"

#include <cstdint>
#include <span>
#include <vector>

namespace brisko::simulator {

/// A grid of directions in the scanner's frame: degrees, azimuth counter-clockwise from +x, zenith
/// from +z. Angles are kept as headers store them, in single precision, so that a point lies where
/// its header says.
struct ScanGrid {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    float startAzimuth = 0;
    float stopAzimuth = 0;  // where a column after the last one would be
    float startZenith = 0;
    float stopZenith = 0;

    std::uint64_t cells() const { return std::uint64_t{columns} * rows; }
    /// Tiles of an index over the grid.
    std::uint64_t tiles() const {
        const auto along = [](std::uint64_t cells) { return (cells + kTileSize - 1) / kTileSize; };
        return along(columns) * along(rows);
    }
    double azimuth(std::uint32_t column) const {
        return between(startAzimuth, stopAzimuth, column, columns);
    }
    double zenith(std::uint32_t row) const { return between(startZenith, stopZenith, row, rows); }

private:
    static double between(double start, double stop, std::uint32_t step, std::uint32_t steps) {
        return start + (stop - start) * step / steps;
    }
};

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
/// some cells and now and then catch something before the surface.
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

}  // namespace brisko::simulator
