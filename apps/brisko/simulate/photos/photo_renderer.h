#pragma once

#include "simulate/photos/photo_plan.h"
#include "simulate/stations.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::tool {

/// Red, green and blue of each pixel, 8 bits each, the top row first.
struct RenderedPhoto {
    PhotoSize size;
    std::vector<std::uint8_t> pixels;
};

/// Told how many pixels of the photo are there; throws Interrupted after Ctrl-C.
using TellPixels = std::function<void(std::uint64_t)>;

/// Takes a photo as it lies in its file, on all cores. No pixel is black: black stands for none where
/// photos colour a scan.
RenderedPhoto renderPhoto(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station,
                          const TellPixels& tell);

}  // namespace brisko::tool
