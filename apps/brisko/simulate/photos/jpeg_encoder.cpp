#include "simulate/photos/jpeg_encoder.h"

#include "common/exit_code.h"

#include <turbojpeg.h>

namespace brisko::tool {

JpegEncoder::JpegEncoder() : m_compressor(tjInitCompress()) {
}

JpegEncoder::~JpegEncoder() {
    tjFree(m_bytes);
    if (m_compressor) tjDestroy(m_compressor);
}

std::string_view JpegEncoder::encode(const RenderedPhoto& photo, const std::string& shownPath) {
    constexpr int kQuality = 95;
    tjFree(m_bytes);
    m_bytes = nullptr;
    unsigned long size = 0;
    const int failed =
        tjCompress2(m_compressor, photo.pixels.data(), static_cast<int>(photo.size.columns), 0,
                    static_cast<int>(photo.size.rows), TJPF_RGB, &m_bytes, &size, TJSAMP_444,
                    kQuality, TJFLAG_ACCURATEDCT);
    if (failed) {
        throw ScanError(ErrorKind::NotWritten, shownPath,
                        std::string("cannot be encoded: ") + tjGetErrorStr2(m_compressor));
    }
    return {reinterpret_cast<const char*>(m_bytes), size};
}

}  // namespace brisko::tool
