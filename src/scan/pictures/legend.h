#pragma once

#include "scan/pictures/canvas.h"
#include "scan/pictures/picture.h"

#include <cstdint>
#include <string>

namespace brisko::scan {

/// How high the legend of a picture is, pixels.
std::uint32_t legendHeight(std::uint32_t width);

/// A strip to go below a picture: azimuths of its columns where these change evenly, the scan's name, and the
/// colours of the scale with its ends and unit.
Canvas drawLegend(const Picture& picture, const PictureView& view, PictureMode mode,
                  const std::string& name);

}  // namespace brisko::scan
