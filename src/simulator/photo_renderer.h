#pragma once

#include "simulator/photo_plan.h"
#include "simulator/stations.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::simulator {

/// Red, green and blue of each pixel, 8 bits each, the top row first.
struct RenderedPhoto {
    PhotoSize size;
    std::vector<std::uint8_t> pixels;
};

/// Takes how many pixels of the photo are done. Throws ScanError(Cancelled) to end the work.
using ReportPixels = std::function<void(std::uint64_t)>;

/// Takes a photo as it lies in its file, on all cores. No pixel is black: black stands for none where
/// photos colour a scan.
RenderedPhoto renderPhoto(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station,
                          const ReportPixels& report);

}  // namespace brisko::simulator
