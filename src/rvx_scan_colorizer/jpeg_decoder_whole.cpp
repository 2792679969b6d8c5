#include "rvx_scan_colorizer/jpeg_decoder.h"

#include <turbojpeg.h>

#include <vector>

namespace brisko {

/// Without libjpeg (src/CMakeLists.txt): asks before the photo only.
JpegOutcome decodeJpeg(std::span<const std::uint8_t> bytes, PhotoRows& photo,
                       const GoesOn& goesOn) {
    if (goesOn && !goesOn()) throw WorkStopped();
    const tjhandle handle = tjInitDecompress();
    if (!handle) return {};
    const int pitch = 3 * photo.columns();
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(pitch) *
                                     static_cast<std::size_t>(photo.rows()));
    const int failed =
        tjDecompress2(handle, bytes.data(), static_cast<unsigned long>(bytes.size()), pixels.data(),
                      photo.columns(), pitch, photo.rows(), TJPF_BGR, TJFLAG_FASTDCT);
    const bool metDamage = tjGetErrorCode(handle) == TJERR_WARNING;
    tjDestroy(handle);
    photo.takeAll(pixels.data(), static_cast<std::size_t>(pitch));
    return {failed == 0, metDamage};
}

}  // namespace brisko
