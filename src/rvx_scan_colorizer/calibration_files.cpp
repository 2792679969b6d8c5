#include "rvx_scan_colorizer/calibration_files.h"

#include "base/bytes.h"
#include "base/file.h"

#include <algorithm>
#include <numbers>

namespace brisko {

namespace {

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
    constexpr double kRadian = std::numbers::pi / 180;
    return axesFromAngles(degrees[0] * kRadian, degrees[1] * kRadian, degrees[2] * kRadian);
}

/// 2147483647 stands for half a turn.
double readAngle(FieldReader& file) {
    return file.i32() / 2147483647.0 * 180 * std::numbers::pi / 180;
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

}  // namespace brisko
