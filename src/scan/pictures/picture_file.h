#pragma once

#include "scan/pictures/picture.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace brisko::scan {

struct PictureShape {
    std::uint32_t width = 0, height = 0;
    PixelFormat format;
    /// Azimuth and elevation of the left upper corner and what a pixel adds, degrees: {azimuth, step,
    /// elevation, step}. Only TIFF has a place for it.
    std::optional<std::array<double, 4>> angles;
};

/// A picture file, written row by row. Everything throws ScanError(NotWritten) when it cannot be
/// written; the caller removes what is incomplete.
class PictureFile {
public:
    virtual ~PictureFile() = default;
    virtual void begin(const PictureShape& shape) = 0;
    virtual void writeRow(const std::uint8_t* row) = 0;
    /// After the last row.
    virtual void close() = 0;
};

/// Whether the extension names a kind of picture.
bool isPictureName(const std::string& path);

/// By the extension of shownPath: PNG or TIFF.
///   path       where to write
///   shownPath  how messages name it
std::unique_ptr<PictureFile> openPictureFile(const std::string& path, const std::string& shownPath);

}  // namespace brisko::scan
