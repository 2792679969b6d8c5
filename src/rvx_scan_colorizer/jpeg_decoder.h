#pragma once

#include "base/worker_pool.h"
#include "rvx_scan_colorizer/photo_rows.h"

#include <cstdint>
#include <span>

namespace brisko {

/// What came of decoding a JPEG.
struct JpegOutcome {
    bool isWhole = false;    // the decoder reported no error, not about a single byte
    bool metDamage = false;  // and went on; otherwise the file is of a kind that it does not know
};

/// Decodes a JPEG into rows of the size in its header.
/// Throws WorkStopped where goesOn(), asked in this thread every few rows, answers false or throws.
JpegOutcome decodeJpeg(std::span<const std::uint8_t> bytes, PhotoRows& photo, const GoesOn& goesOn);

}  // namespace brisko
