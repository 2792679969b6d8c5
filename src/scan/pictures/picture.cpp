#include "scan/pictures/picture.h"

#include <brisko_scan/progress.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstring>

namespace brisko::scan {

// libpng reports errors by a jump back to the last setjmp. The functions that call it have no objects
// of their own that the jump would pass over.

PngFile::PngFile(const std::string& path, const std::string& shownPath)
    : m_shownPath(shownPath), m_file(std::fopen(path.c_str(), "wb")) {
    if (!m_file) fail(std::strerror(errno));
    m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, keepError,
                                    [](png_structp, png_const_charp) {});
    if (m_png) m_info = png_create_info_struct(m_png);
    if (m_info) return;
    png_destroy_write_struct(&m_png, nullptr);
    std::fclose(m_file);
    throw std::bad_alloc();
}

PngFile::~PngFile() {
    png_destroy_write_struct(&m_png, &m_info);
    if (m_file) std::fclose(m_file);
}

void PngFile::keepError(png_structp png, png_const_charp message) {
    static_cast<PngFile*>(png_get_error_ptr(png))->m_reason =
        errno != 0 ? std::strerror(errno) : message;
    png_longjmp(png, 1);
}

void PngFile::fail(const std::string& reason) const {
    throw ScanError(ErrorKind::NotWritten, m_shownPath, "cannot be written: " + reason);
}

void PngFile::begin(std::uint32_t width, std::uint32_t height) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_init_io(m_png, m_file);
    png_set_IHDR(m_png, m_info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(m_png, m_info);
}

void PngFile::writeRow(const std::uint8_t* pixels) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_write_row(m_png, pixels);
}

void PngFile::close() {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_write_end(m_png, m_info);
    std::FILE* const file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) fail(std::strerror(errno));
}

namespace {

constexpr std::uint8_t kEmptyColour[3] = {12, 20, 64};
constexpr double kDarkest = 24;  // greys start here, away from the colour of empty cells
constexpr double kBrightest = 255;
constexpr double kNearest = 0.001;  // metres; keeps logarithms finite
constexpr double kCutOff = 0.01;    // share of the pixels beyond either end of the scale

/// A number that orders as its float does, from the lowest to the highest.
std::uint32_t orderOf(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    return bits >> 31 ? ~bits : bits | 0x80000000u;
}

float valueOf(std::uint32_t order) {
    return std::bit_cast<float>(order >> 31 ? order & 0x7fffffffu : ~order);
}

/// How many values have each of the 65,536 halves of an order.
class Histogram {
public:
    void add(std::uint32_t half, std::uint64_t count) { m_counts[half] += count; }

    /// The half in which a place lies, counted from the lowest value; the place becomes the one in it.
    std::uint32_t find(std::uint64_t& place) const {
        std::uint32_t half = 0;
        while (half + 1 < m_counts.size() && place >= m_counts[half])
            place -= m_counts[half++];
        return half;
    }

private:
    std::vector<std::uint64_t> m_counts = std::vector<std::uint64_t>(1 << 16);
};

/// 0 at one end of the scale, 1 at the other.
double place(double value, double low, double high) {
    if (!(high > low) || std::isnan(value)) return 0.5;
    return std::clamp((value - low) / (high - low), 0.0, 1.0);
}

std::uint8_t grey(double share) {
    return static_cast<std::uint8_t>(std::lround(kDarkest + share * (kBrightest - kDarkest)));
}

double shareOf(double value, PictureMode mode, const PictureScale& scale) {
    const auto low = static_cast<double>(scale.low);
    const auto high = static_cast<double>(scale.high);
    if (mode == PictureMode::Intensity) return place(value, low, high);
    const auto log = [](double metres) { return std::log(std::max(metres, kNearest)); };
    return 1 - place(log(value), log(low), log(high));
}

void paintPixel(const PictureValue& value, PictureMode mode, const PictureScale& scale,
                std::uint8_t* pixel) {
    if (value.isEmpty) {
        std::copy(std::begin(kEmptyColour), std::end(kEmptyColour), pixel);
    } else if (mode == PictureMode::Colour) {
        for (int c = 0; c < 3; ++c) {
            pixel[c] = static_cast<std::uint8_t>(std::lround(value.channels[c]));
        }
    } else {
        std::fill_n(pixel, 3, grey(shareOf(static_cast<double>(value.channels[0]), mode, scale)));
    }
}

}  // namespace

Picture::Picture(const PictureGrid& grid, PictureMode mode, const PictureOrientation& orientation,
                 std::uint32_t width, std::uint32_t height, const ProgressFunction& progress)
    : m_grid(grid),
      m_mode(mode),
      m_orientation(orientation),
      m_height(height),
      m_progress(progress) {
    for (std::uint32_t x = 0; x < width; ++x) {
        const std::uint32_t column = orientation.mirrorColumns ? width - 1 - x : x;
        m_columns.push_back(grid.columnsOf(static_cast<double>(column) / width,
                                           static_cast<double>(column + 1) / width));
    }
    m_scale = findScale();
}

CellRange Picture::rowsAt(std::uint32_t y) const {
    const std::uint32_t row = m_orientation.mirrorRows ? m_height - 1 - y : y;
    return m_grid.rowsOf(static_cast<double>(row) / m_height,
                         static_cast<double>(row + 1) / m_height);
}

template <class Visit>
void Picture::forEachRow(const Visit& visit) const {
    Values values(m_columns.size());
    for (std::uint32_t y = 0, next = 0; y < m_height; y = next) {
        requireGoingOn(m_progress);
        const CellRange rows = rowsAt(y);
        next = y + 1;
        // A picture with more rows than the grid shows the same ones several times.
        while (next < m_height && rowsAt(next) == rows)
            ++next;
        for (std::size_t x = 0; x < values.size(); ++x)
            values[x] = m_grid.mean(m_columns[x], rows);
        visit(values, next - y);
    }
}

/// Looks at all pixels twice rather than keep them: first for the upper half of the values sought, then
/// for the lower half of each.
PictureScale Picture::findScale() const {
    constexpr std::uint32_t kHalf = 16;
    const auto forEachOrder = [this](const auto& visit) {
        forEachRow([&](const Values& values, std::uint32_t rows) {
            for (const PictureValue& value : values) {
                if (!value.isEmpty) visit(orderOf(value.channels[0]), rows);
            }
        });
    };
    Histogram upper;
    std::uint64_t count = 0;
    forEachOrder([&](std::uint32_t order, std::uint32_t rows) {
        upper.add(order >> kHalf, rows);
        count += rows;
    });
    PictureScale scale;
    if (count == 0) return scale;
    scale.isEmpty = false;
    const auto last = static_cast<double>(count - 1);
    auto lowPlace = static_cast<std::uint64_t>(std::llround(kCutOff * last));
    auto highPlace = static_cast<std::uint64_t>(std::llround((1 - kCutOff) * last));
    const std::uint32_t low = upper.find(lowPlace), high = upper.find(highPlace);
    Histogram lowHalves, highHalves;
    forEachOrder([&](std::uint32_t order, std::uint32_t rows) {
        constexpr std::uint32_t kLower = (1u << kHalf) - 1;
        if (order >> kHalf == low) lowHalves.add(order & kLower, rows);
        if (order >> kHalf == high) highHalves.add(order & kLower, rows);
    });
    scale.low = valueOf(low << kHalf | lowHalves.find(lowPlace));
    scale.high = valueOf(high << kHalf | highHalves.find(highPlace));
    return scale;
}

void Picture::paint(const std::function<void(const std::uint8_t*)>& takeRow) const {
    std::vector<std::uint8_t> row(3 * m_columns.size());
    forEachRow([&](const Values& values, std::uint32_t rows) {
        for (std::size_t x = 0; x < values.size(); ++x)
            paintPixel(values[x], m_mode, m_scale, row.data() + 3 * x);
        for (; rows > 0; --rows)
            takeRow(row.data());
    });
}

}  // namespace brisko::scan
