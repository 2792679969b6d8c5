#include "rvx_scan_colorizer/calibration_files.h"

#include "base/bytes.h"
#include "base/file.h"
#include "base/text.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

namespace brisko {

namespace {

constexpr double kRadian = std::numbers::pi / 180;

/// Takes one number after the other; 0 after the end. A count in the file only moves the place of
/// the next read, so any count is harmless.
class FieldReader {
public:
    explicit FieldReader(const std::string& path) : m_file(openFile(path.c_str(), "rb")) {
        if (!m_file) throw FileFailure(path);
    }

    double f64() { return next<double>(); }
    double f64Thousandth() { return f64() / 1000; }
    std::int32_t i32() { return next<std::int32_t>(); }

    Vector3 vector() {
        Vector3 v{};
        for (double& value : v)
            value = f64();
        return v;
    }
    Matrix3 matrixByRows() {
        Matrix3 matrix;
        for (Vector3& row : matrix.rows)
            row = vector();
        return matrix;
    }
    Matrix3 matrixByColumns() { return matrixByRows().transposed(); }
    void skipF64(std::int64_t count) {
        m_offset += static_cast<std::uint64_t>(count) * sizeof(double);
    }

private:
    template <class Number>
    Number next() {
        std::uint8_t bytes[sizeof(Number)] = {};
        const std::size_t got = readAt(m_file.get(), m_offset, bytes, sizeof bytes);
        m_offset += sizeof bytes;
        return got == sizeof bytes ? load<Number>(bytes) : Number{};
    }

    FilePtr m_file;
    std::uint64_t m_offset = 0;
};

/// The coefficients that count; further ones are passed over. A block may have a least length.
Coefficients readCoefficients(FieldReader& file, std::int64_t leastLength) {
    Coefficients coefficients{};
    const std::int64_t count = std::max(file.i32(), 0);
    const std::int64_t used = std::min<std::int64_t>(count, coefficients.size());
    for (std::int64_t i = 0; i < used; ++i)
        coefficients[static_cast<std::size_t>(i)] = file.f64();
    file.skipF64(std::max(count, leastLength) - used);
    return coefficients;
}

Matrix3 readAngles(FieldReader& file) {
    const Vector3 degrees = file.vector();
    return axesFromAngles(degrees[0] * kRadian, degrees[1] * kRadian, degrees[2] * kRadian);
}

/// 2147483647 stands for half a turn.
double readAngle(FieldReader& file) {
    return file.i32() / 2147483647.0 * 180 * std::numbers::pi / 180;
}

/// The beginning of a file; these files have a few short lines.
std::string readText(const std::string& path) {
    constexpr std::size_t kMost = 4096;
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file) throw FileFailure(path);
    std::string text(kMost, '\0');
    text.resize(readAt(file.get(), 0, text.data(), text.size()));
    return text;
}

std::string firstLineOf(const std::string& text) {
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

/// The numbers of a text up to what is none.
std::vector<double> numbersOf(const char* text) {
    std::vector<double> numbers;
    const char* end = nullptr;
    for (double value = parseDouble(text, &end); end != text; value = parseDouble(text, &end)) {
        numbers.push_back(value);
        text = end;
    }
    return numbers;
}

}  // namespace

Calibration readCalibration(const std::string& path, const CalibrationLayout& layout) {
    FieldReader file(path);
    Calibration calibration;
    CameraModel& camera = calibration.camera;
    camera.principalDistance = file.f64Thousandth();
    camera.principalX = file.f64Thousandth();
    camera.principalY = file.f64Thousandth();
    camera.modelCode = file.i32();
    camera.coefficients = readCoefficients(file, layout.leastCoefficients);
    camera.pitchX = file.f64Thousandth();
    camera.pitchY = file.f64Thousandth();
    camera.pixelSize = camera.pitchX * 1000;
    calibration.mounting.origin = file.vector();
    calibration.mounting.axes = layout.axesAreAngles ? readAngles(file) : file.matrixByColumns();
    if (layout.hasCarrier) {
        Mounting& carrier = calibration.carrier.emplace();
        carrier.origin = file.vector();
        carrier.axes = file.matrixByColumns();
    }
    return calibration;
}

HeadAngles readHeadAngles(const std::string& path) {
    FieldReader file(path);
    HeadAngles angles;
    angles.horizontal = readAngle(file);
    angles.tilt = readAngle(file);
    return angles;
}

Matrix3 readLevelling(const std::string& path) {
    return FieldReader(path).matrixByRows();
}

StationRecord readStationRecord(const std::string& path, std::size_t values) {
    FieldReader file(path);
    StationRecord record(values);
    for (std::int32_t& value : record)
        value = file.i32();
    return record;
}

std::optional<std::string> readFirstLine(const std::string& path) {
    const std::string text = readText(path);
    if (text.empty()) return std::nullopt;
    return firstLineOf(text);
}

int readCameraStep(const std::string& path) {
    // Exact: with a blank after it, it is another text.
    return readFirstLine(path) == "WCAMSTEP=30STEP" ? 30 : 60;
}

CameraModel readCameraText(const std::string& path) {
    const std::string text = readText(path);
    const std::vector<double> size = numbersOf(firstLineOf(text).c_str());
    if (size.empty() || !std::isfinite(size.front())) throw FileFailure(path);
    const std::size_t secondLine = std::min(text.find('\n'), text.size());
    std::vector<double> numbers = numbersOf(text.c_str() + secondLine);
    numbers.resize(3 + Coefficients().size());
    CameraModel camera;
    camera.modelCode = 1;
    camera.pixelSize = size.front() / 1000;
    camera.pitchX = camera.pitchY = camera.pixelSize / 1000;
    camera.principalDistance = numbers[0] / 1000;
    camera.principalX = numbers[1] / 1000;
    camera.principalY = numbers[2] / 1000;
    std::copy(numbers.begin() + 3, numbers.end(), camera.coefficients.begin());
    return camera;
}

CameraPose readExteriorText(const std::string& path) {
    std::vector<double> numbers = numbersOf(readText(path).c_str());
    numbers.resize(6);
    const Vector3 millimetres = {numbers[0] * 1000, numbers[1] * 1000, numbers[2] * 1000};
    return CameraPose().inside(
        millimetres,
        axesFromAngles(numbers[3] * kRadian, numbers[4] * kRadian, numbers[5] * kRadian));
}

}  // namespace brisko
