#pragma once

#include "scan/pictures/picture_grid.h"

#include <brisko_scan/panorama.h>

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace brisko::scan {

/// A PNG file, written row by row: 8 bits of red, green and blue a pixel. Everything throws
/// ScanError(NotWritten) when it cannot be written; the caller removes what is incomplete.
class PngFile {
public:
    /// path: where to write; shownPath: how messages name it.
    PngFile(const std::string& path, const std::string& shownPath);
    ~PngFile();
    PngFile(const PngFile&) = delete;
    PngFile& operator=(const PngFile&) = delete;

    void begin(std::uint32_t width, std::uint32_t height);
    void writeRow(const std::uint8_t* pixels);
    /// After the last row.
    void close();

private:
    [[noreturn]] static void keepError(png_structp png, png_const_charp message);
    [[noreturn]] void fail(const std::string& reason) const;

    std::string m_shownPath;
    std::string m_reason;
    std::FILE* m_file;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

/// How the grid lies in the picture. As seen from the scanner, left to right is clockwise from above
/// and top to bottom is from the zenith down.
struct PictureOrientation {
    bool mirrorColumns = false;  // columns turn counter-clockwise
    bool mirrorRows = false;     // rows rise
};

/// A gathered grid as a picture. Ranges are near bright to far dark on a logarithmic scale, intensities
/// dark to bright; both between the values that leave out the outermost hundredth on either side.
/// Cells without a point are dark blue. Keeps one row of pixels at a time.
class Picture {
public:
    /// progress: asked for every row whether to go on.
    Picture(const PictureGrid& grid, PictureMode mode, const PictureOrientation& orientation,
            std::uint32_t width, std::uint32_t height, const ProgressFunction& progress);

    const PictureScale& scale() const { return m_scale; }

    /// Hands out red, green and blue of the pixels, row by row from the top.
    void paint(const std::function<void(const std::uint8_t*)>& takeRow) const;

private:
    using Values = std::vector<PictureValue>;
    /// Calls visit(values of the row, rows in a run that are alike).
    template <class Visit>
    void forEachRow(const Visit& visit) const;
    CellRange rowsAt(std::uint32_t y) const;
    PictureScale findScale() const;

    const PictureGrid& m_grid;
    PictureMode m_mode;
    PictureOrientation m_orientation;
    std::uint32_t m_height;
    const ProgressFunction& m_progress;
    std::vector<CellRange> m_columns;  // of each pixel of a row
    PictureScale m_scale;
};

}  // namespace brisko::scan
