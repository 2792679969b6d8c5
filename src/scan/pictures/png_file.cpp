#include "scan/pictures/png_file.h"

#include <brisko_scan/scan_error.h>

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <new>

namespace brisko::scan {
namespace {

constexpr int kCompression = 2;  // of 9

}  // namespace

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

void PngFile::begin(const PictureShape& shape) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_init_io(m_png, m_file);
    png_set_IHDR(m_png, m_info, shape.width, shape.height, shape.format.is16Bit ? 16 : 8,
                 shape.format.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Pictures of scans are noisy: trying harder takes five times as long and saves a tenth.
    png_set_compression_level(m_png, kCompression);
    png_set_filter(m_png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(m_png, m_info);
    if (shape.format.is16Bit && std::endian::native == std::endian::little) png_set_swap(m_png);
}

void PngFile::writeRow(const std::uint8_t* row) {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_write_row(m_png, row);
}

void PngFile::close() {
    errno = 0;
    if (setjmp(png_jmpbuf(m_png)) != 0) fail(m_reason);
    png_write_end(m_png, m_info);
    std::FILE* const file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) fail(std::strerror(errno));
}

}  // namespace brisko::scan
