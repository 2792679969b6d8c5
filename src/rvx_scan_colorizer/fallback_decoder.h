#pragma once

#include "rvx_scan_colorizer/decoded_image.h"

#include <span>
#include <string>

namespace brisko {

/// The second decoder for photos, loaded from the module beside this library when it is first needed
/// and kept until the process ends.
/// Returns: an empty image when the module is not there or cannot make anything of the bytes.
DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes);

/// The same with the module of a certain folder.
DecodedImage decodeWithFallback(std::span<const std::uint8_t> bytes, const std::string& folder);

}  // namespace brisko
