#pragma once

#include "scan/pictures/picture_file.h"

#include <png.h>

#include <cstdio>
#include <string>

namespace brisko::scan {

class PngFile : public PictureFile {
public:
    PngFile(const std::string& path, const std::string& shownPath);
    ~PngFile() override;
    PngFile(const PngFile&) = delete;
    PngFile& operator=(const PngFile&) = delete;

    void begin(const PictureShape& shape) override;
    void writeRow(const std::uint8_t* row) override;
    void close() override;

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
