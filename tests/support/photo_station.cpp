#include "support/photo_station.h"

#include <turbojpeg.h>
#include <cmath>
#include <stdexcept>

namespace brisko::test {

Bytes jpegBytes(int width, int height, const Painter& painter) {
    Bytes pixels;
    pixels.reserve(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const Rgb colour = painter(column, row);
            pixels.insert(pixels.end(), colour.begin(), colour.end());
        }
    }
    const tjhandle compressor = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    const int failed = tjCompress2(compressor, pixels.data(), width, 0, height, TJPF_RGB, &out,
                                   &size, TJSAMP_444, 100, TJFLAG_ACCURATEDCT);
    const Bytes jpeg(out, out + (failed ? 0 : size));
    tjFree(out);
    tjDestroy(compressor);
    if (failed) throw std::runtime_error("no JPEG");
    return jpeg;
}

namespace {

void putColumns(ByteWriter& out, const Rows3& rows) {
    for (std::size_t column = 0; column < 3; ++column) {
        for (const auto& row : rows)
            out.f64(row[column]);
    }
}
void putVector(ByteWriter& out, const std::array<double, 3>& vector) {
    for (const double value : vector)
        out.f64(value);
}

ByteWriter calibrationHead(const CalibrationText& text, std::size_t leastCoefficients) {
    ByteWriter out;
    out.f64(text.f).f64(text.x0).f64(text.y0).i32(text.code);
    out.i32(static_cast<std::int32_t>(text.coefficients.size()));
    for (const double coefficient : text.coefficients)
        out.f64(coefficient);
    // What fills the block up is not 0 here: a reader that takes it for a coefficient is found out.
    for (std::size_t i = text.coefficients.size(); i < leastCoefficients; ++i)
        out.f64(777);
    out.f64(text.px).f64(text.py);
    putVector(out, text.position);
    return out;
}

}  // namespace

Bytes classicCalibration(const CalibrationText& text) {
    ByteWriter out = calibrationHead(text, 0);
    putVector(out, text.angles);
    return out;
}

Bytes pairedCalibration(const CalibrationText& text) {
    ByteWriter out = calibrationHead(text, 10);
    putColumns(out, text.axes);
    return out;
}

Bytes newerCalibration(const CalibrationText& text) {
    ByteWriter out = calibrationHead(text, 0);
    putColumns(out, text.axes);
    putVector(out, text.carrierPosition);
    putColumns(out, text.carrierAxes);
    return out;
}

Bytes angleFile(double horizontal, double tilt) {
    const auto stored = [](double degrees) {
        return static_cast<std::int32_t>(std::lround(degrees / 180 * 2147483647.0));
    };
    return ByteWriter().i32(stored(horizontal)).i32(stored(tilt));
}

PhotoStation::PhotoStation() {
    std::filesystem::create_directory(m_folder / "scan");
}

void PhotoStation::addPhoto(const std::string& name, const Bytes& jpeg, double horizontal,
                            double tilt) const {
    writeFile(inScan(name + ".jpg"), jpeg);
    writeFile(inScan(name + ".ang"), angleFile(horizontal, tilt));
}

}  // namespace brisko::test
