#include "scan/pictures/colour_map.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

namespace brisko::scan {
namespace {

using Stop = std::array<float, 3>;

/// Evenly spaced; what lies between two of them is blended.
constexpr std::array<Stop, 13> kTurbo = {{{0.19F, 0.07F, 0.23F},
                                          {0.25F, 0.26F, 0.67F},
                                          {0.28F, 0.45F, 0.92F},
                                          {0.22F, 0.62F, 0.99F},
                                          {0.10F, 0.79F, 0.86F},
                                          {0.15F, 0.91F, 0.66F},
                                          {0.45F, 0.98F, 0.38F},
                                          {0.71F, 0.96F, 0.21F},
                                          {0.91F, 0.83F, 0.22F},
                                          {0.99F, 0.64F, 0.19F},
                                          {0.94F, 0.38F, 0.09F},
                                          {0.77F, 0.18F, 0.02F},
                                          {0.48F, 0.02F, 0.01F}}};
constexpr std::array<Stop, 9> kViridis = {{{0.27F, 0.00F, 0.33F},
                                           {0.28F, 0.17F, 0.48F},
                                           {0.23F, 0.32F, 0.55F},
                                           {0.17F, 0.45F, 0.56F},
                                           {0.13F, 0.57F, 0.55F},
                                           {0.15F, 0.68F, 0.51F},
                                           {0.37F, 0.79F, 0.38F},
                                           {0.67F, 0.86F, 0.19F},
                                           {0.99F, 0.91F, 0.14F}}};

Stop blended(std::span<const Stop> stops, float share) {
    const float place = share * static_cast<float>(stops.size() - 1);
    const auto first = std::min(static_cast<std::size_t>(place), stops.size() - 2);
    const float rest = place - static_cast<float>(first);
    Stop colour{};
    for (std::size_t c = 0; c < colour.size(); ++c)
        colour[c] = std::lerp(stops[first][c], stops[first + 1][c], rest);
    return colour;
}

}  // namespace

ColourMap mapFor(PictureMode mode, ColourMap chosen) {
    if (chosen != ColourMap::Automatic) return chosen;
    switch (mode) {
        case PictureMode::Range:
            return ColourMap::Turbo;
        case PictureMode::Height:
        case PictureMode::Incidence:
            return ColourMap::Viridis;
        case PictureMode::Shaded:
        case PictureMode::Intensity:
        case PictureMode::Colour:
        case PictureMode::Normals:
            break;
    }
    return ColourMap::Grey;
}

std::array<float, 3> mappedColour(ColourMap map, float share) {
    if (map == ColourMap::Turbo) return blended(kTurbo, share);
    if (map == ColourMap::Viridis) return blended(kViridis, share);
    return {share, share, share};
}

}  // namespace brisko::scan
