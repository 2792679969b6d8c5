#include "scan/pictures/tiff_file.h"

#include <tiffio.h>
#include <algorithm>
#include <array>
#include <cerrno>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kModelTransformation = 34264;  // tags of GeoTIFF
constexpr std::uint32_t kGeoKeys = 34735;
constexpr std::uint32_t kRowsPerStrip = 64;

/// Version 1.1.0, two keys: coordinates of an own kind; a pixel is an area.
constexpr std::array<std::uint16_t, 12> kKeys = {1, 1, 0, 2, 1024, 0, 1, 32767, 1025, 0, 1, 1};

}  // namespace

TiffFile::TiffFile(const std::string& path, const std::string& shownPath)
    : m_file(path, shownPath, "wl") {
}

void TiffFile::begin(const PictureShape& shape) {
    TIFF* const file = m_file.get();
    const bool isGrey = shape.format.channels == 1;
    m_buffer.resize(shape.format.bytesOf(shape.width));
    errno = 0;
    bool done = TIFFSetField(file, TIFFTAG_IMAGEWIDTH, shape.width) == 1;
    done &= TIFFSetField(file, TIFFTAG_IMAGELENGTH, shape.height) == 1;
    done &= TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, shape.format.channels) == 1;
    done &= TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, shape.format.is16Bit ? 16 : 8) == 1;
    done &= TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == 1;
    done &= TIFFSetField(file, TIFFTAG_PHOTOMETRIC,
                         isGrey ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB) == 1;
    done &= TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE) == 1;
    done &= TIFFSetField(file, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) == 1;
    done &= TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, kRowsPerStrip) == 1;
    if (!done) m_file.fail();
    if (shape.angles) nameAngles(*shape.angles);
}

void TiffFile::nameAngles(const std::array<double, 4>& angles) {
    static std::array<char, 20> transformation{"ModelTransformation"};
    static std::array<char, 8> keys{"GeoKeys"};
    const std::array<TIFFFieldInfo, 2> fields = {
        {{kModelTransformation, -1, -1, TIFF_DOUBLE, FIELD_CUSTOM, 1, 1, transformation.data()},
         {kGeoKeys, -1, -1, TIFF_SHORT, FIELD_CUSTOM, 1, 1, keys.data()}}};
    TIFFMergeFieldInfo(m_file.get(), fields.data(), static_cast<std::uint32_t>(fields.size()));
    const auto& [azimuth, azimuthStep, elevation, elevationStep] = angles;
    const std::array<double, 16> matrix = {
        azimuthStep, 0, 0, azimuth, 0, elevationStep, 0, elevation, 0, 0, 0, 0, 0, 0, 0, 1};
    errno = 0;
    bool done = TIFFSetField(m_file.get(), kModelTransformation, static_cast<int>(matrix.size()),
                             matrix.data()) == 1;
    done &= TIFFSetField(m_file.get(), kGeoKeys, static_cast<int>(kKeys.size()), kKeys.data()) == 1;
    if (!done) m_file.fail();
}

void TiffFile::writeRow(const std::uint8_t* row) {
    std::copy_n(row, m_buffer.size(), m_buffer.data());
    errno = 0;
    if (TIFFWriteScanline(m_file.get(), m_buffer.data(), m_row++, 0) != 1) m_file.fail();
}

void TiffFile::close() {
    errno = 0;
    // Closing says nothing of errors.
    if (TIFFWriteDirectory(m_file.get()) != 1 || TIFFFlush(m_file.get()) != 1) m_file.fail();
    m_file.close();
}

}  // namespace brisko::scan
