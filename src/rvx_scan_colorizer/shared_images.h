#pragma once

#include "rvx_scan_colorizer/decoded_image.h"

#include <memory>
#include <string>

namespace brisko {

/// A decoded photo. It never changes, so whoever looks at the same file shares it.
using SharedImage = std::shared_ptr<const DecodedImage>;

/// Decodes a photo, or hands out the one that somebody in this process still holds: the same state of
/// the same file, turned the same way. Photos are decoded at the same time in different threads; who
/// asks for one that is being decoded waits for it.
/// Throws: as readImage.
SharedImage loadSharedImage(const std::string& path, Turn turn);

}  // namespace brisko
