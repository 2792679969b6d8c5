#pragma once

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <string>

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

}  // namespace brisko::scan
