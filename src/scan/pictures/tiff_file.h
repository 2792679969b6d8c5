#pragma once

#include "scan/formats/tiff/tiff_handle.h"
#include "scan/pictures/picture_file.h"

#include <string>
#include <vector>

namespace brisko::scan {

/// A TIFF picture whose map coordinates are the angles of its pixels: x the azimuth, y the elevation.
class TiffFile : public PictureFile {
public:
    TiffFile(const std::string& path, const std::string& shownPath);

    void begin(const PictureShape& shape) override;
    void writeRow(const std::uint8_t* row) override;
    void close() override;

private:
    void nameAngles(const std::array<double, 4>& angles);

    tiff::Handle m_file;
    std::uint32_t m_row = 0;
    std::vector<std::uint8_t> m_buffer;  // the library changes what it compresses
};

}  // namespace brisko::scan
