#include "rvx_scan_colorizer/jpeg_decoder.h"

#include <turbojpeg.h>

namespace brisko {

/// Without libjpeg (src/CMakeLists.txt): asks before the photo only.
JpegOutcome decodeJpeg(std::span<const std::uint8_t> bytes, DecodedImage& image,
                       const GoesOn& goesOn) {
    if (goesOn && !goesOn()) throw WorkStopped();
    const tjhandle handle = tjInitDecompress();
    if (!handle) return {};
    const int failed =
        tjDecompress2(handle, bytes.data(), static_cast<unsigned long>(bytes.size()), image.row(0),
                      image.columns(), 3 * image.columns(), image.rows(), TJPF_BGR, TJFLAG_FASTDCT);
    const bool metDamage = tjGetErrorCode(handle) == TJERR_WARNING;
    tjDestroy(handle);
    return {failed == 0, metDamage};
}

}  // namespace brisko
