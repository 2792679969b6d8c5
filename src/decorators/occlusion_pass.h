#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/color_codec.h>

#include "rvx_scan_colorizer/depth_maps.h"
#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <memory>

namespace brisko {

/// Makes a pass over an open codec, which delivers points as measured, and from it the depth maps of a
/// handle's station. Returns null when the scan cannot be read, memory runs out, `progress` does not
/// want to go on, or the thread of Boost.Thread is asked to end.
std::shared_ptr<const DepthMaps> readDepthMaps(BriskoCodec& codec, const RvxScanColorizer& handle,
                                               const ColourOpenProgress& progress) noexcept;

}  // namespace brisko
