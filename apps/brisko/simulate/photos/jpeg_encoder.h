#pragma once

#include "simulate/photos/photo_renderer.h"

#include <string>
#include <string_view>

namespace brisko::tool {

/// Encodes photos as JPEG, in high quality and with whole colours. One thread at a time per object.
class JpegEncoder {
public:
    JpegEncoder();
    ~JpegEncoder();
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    /// The bytes stay until the next call.
    ///   shownPath  of the photo, for the message of ScanError(NotWritten)
    std::string_view encode(const RenderedPhoto& photo, const std::string& shownPath);

private:
    void* m_compressor = nullptr;
    unsigned char* m_bytes = nullptr;
};

}  // namespace brisko::tool
