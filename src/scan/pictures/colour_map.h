#pragma once

#include <brisko_scan/panorama.h>

#include <array>

namespace brisko::scan {

/// The map that a mode has unless another is chosen.
ColourMap mapFor(PictureMode mode, ColourMap chosen);

/// Red, green and blue (0 to 1) of a share of the scale.
///   share  from 0 to 1
std::array<float, 3> mappedColour(ColourMap map, float share);

}  // namespace brisko::scan
