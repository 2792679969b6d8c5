#include "panorama/png_file.h"

#include "common/failure.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace brisko::tool {
namespace {

[[noreturn]] void fail(const std::string& shownPath, const std::string& reason) {
    throw Failure(ExitCode::NotWritten, shownPath + ": cannot be written: " + reason);
}

}  // namespace

void writePng(const Picture& picture, const std::string& path, const std::string& shownPath) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) fail(shownPath, std::strerror(errno));
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    const bool written =
        png_image_write_to_stdio(&image, file, 0, picture.pixels.data(), 0, nullptr) != 0;
    const std::string reason = image.message;
    const bool closed = std::fclose(file) == 0;
    if (!written) fail(shownPath, reason);
    if (!closed) fail(shownPath, std::strerror(errno));
}

}  // namespace brisko::tool
