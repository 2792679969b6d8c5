#include "simulator/scanner.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

namespace brisko::simulator {
namespace {

constexpr ScanGrid kGrid{120, 60, 360, 0, 20, 150};

double rangeOf(const Measurement& cell) {
    return std::hypot(cell.x, cell.y, cell.z);
}

std::vector<Measurement> scan(const Station& station, const ScannerSettings& settings,
                              const ScanPass& pass, const ScanGrid& grid = kGrid) {
    const Scanner scanner(station, grid, settings);
    std::vector<Measurement> cells(grid.cells());
    for (std::uint32_t column = 0; column < grid.columns; ++column) {
        scanner.measureColumn(pass, column,
                              std::span(cells).subspan(std::size_t{column} * grid.rows, grid.rows));
    }
    return cells;
}

/// A flat ground 2 m under a scanner that stands level, and nothing else.
Station flatGround() {
    return {Scene({{Shape::box({-9999, -9999, -1}, {9999, 9999, 0}), 0}},
                  {{.colour = {0.5, 0.25, 1}, .reflectance = 1}}, {}),
            {{10, 20, 2}, standing(90, 0, 0)}};
}

TEST(SimulatedScanner, PutsACellWhereItsAnglesSay) {
    const ScanGrid grid{4, 2, 360, 0, 180, 90};  // azimuths 360, 270, 180, 90; zeniths 180, 135
    const auto cells = scan(flatGround(), {.rangeNoise = 0}, {}, grid);
    const std::tuple<std::size_t, double, double> expected[] = {
        {0, 0, 0}, {1, 2, 0}, {3, 0, -2}, {5, -2, 0}, {7, 0, 2}};
    for (const auto& [number, x, y] : expected) {
        const Measurement& cell = cells[number];
        EXPECT_NEAR(std::hypot(cell.x - x, cell.y - y, cell.z + 2), 0, 1e-12) << number;
    }
    // Full light, straight down on 2 m; the noise of the intensity is 2 per cent.
    EXPECT_NEAR(cells[0].intensity, 2200, 220);
    EXPECT_LT(cells[1].intensity, cells[0].intensity);
    const auto [red, green, blue] = cells[1].colour;
    EXPECT_EQ((std::array{red, green, blue}), (std::array<std::uint8_t, 3>{128, 64, 255}));
}

TEST(SimulatedScanner, FlagChoosesTheRangesThatAPassSees) {
    const std::tuple<std::uint8_t, double, double> passes[] = {
        {0, 0, 200}, {1, 0, 40}, {2, 25, 60}, {3, 9, 25}, {4, 0, 9}, {99, 0, 200}};
    const Station yard = makeCourtyard();
    const auto all = scan(yard, {.rangeNoise = 0}, {0, 0});
    for (const auto& [flag, nearest, farthest] : passes) {
        const auto cells = scan(yard, {.rangeNoise = 0}, {0, flag});
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const double range = rangeOf(all[i]);
            const bool inside = all[i].measured() && range >= nearest && range <= farthest;
            ASSERT_EQ(cells[i].measured(), inside) << "flag " << int{flag} << " at " << range;
            // Measured points are never dark.
            ASSERT_GE(cells[i].intensity, inside ? 1 : 0);
            ASSERT_LE(cells[i].intensity, inside ? 2200 : 0);
        }
    }
}

TEST(SimulatedScanner, LaterPassesMissCellsAndCatchStrayPoints) {
    const Station room = makeRoom();
    const auto first = scan(room, {}, {0, 0});
    const auto later = scan(room, {}, {3, 0});
    std::size_t missed = 0, stray = 0, same = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (!first[i].measured()) {
            EXPECT_FALSE(later[i].measured());
        } else if (!later[i].measured()) {
            ++missed;
        } else if (rangeOf(later[i]) < rangeOf(first[i]) - 0.05) {
            ++stray;
        } else {
            EXPECT_NEAR(rangeOf(later[i]), rangeOf(first[i]), 0.02);
            ++same;
        }
    }
    const auto share = [&](std::size_t cells) {
        return static_cast<double>(cells) / static_cast<double>(first.size());
    };
    EXPECT_NEAR(share(missed), 0.04, 0.01);
    EXPECT_NEAR(share(stray), 0.01, 0.005);
    EXPECT_GT(same, first.size() * 9 / 10);
}

}  // namespace
}  // namespace brisko::simulator
