#include "rvx_scan_colorizer/fallback/decoder_interface.h"

#include <opencv2/imgcodecs.hpp>

#include <vector>

/// The module's one symbol; see FallbackDecode.
extern "C" __attribute__((visibility("default"))) bool briskoFallbackDecode(
    const std::uint8_t* bytes, std::size_t size, brisko::FallbackReceiver receiver, void* context) {
    try {
        const std::vector<std::uint8_t> file(bytes, bytes + size);
        // The photo as it is stored: TurboJPEG does not look at the orientation tag either.
        const cv::Mat image = cv::imdecode(file, cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION);
        if (image.empty() || image.type() != CV_8UC3) return false;
        receiver(context, image.data, image.step[0], image.cols, image.rows);
        return true;
    } catch (...) {
        return false;
    }
}
