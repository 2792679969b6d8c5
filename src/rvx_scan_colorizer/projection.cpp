#include "rvx_scan_colorizer/projection.h"

#include <algorithm>
#include <exception>
#include <limits>

namespace brisko {

Distortion::Distortion(std::int32_t modelCode, const Coefficients& coefficients, double radius)
    : m_coefficients(coefficients) {
    if (modelCode < 0 || modelCode > 2) {
        m_kind = Kind::Unknown;
        m_limit = -1;
        return;
    }
    if (modelCode != 1) m_coefficients[3] = m_coefficients[4] = 0;
    const bool none = std::all_of(m_coefficients.begin(), m_coefficients.end(),
                                  [](double coefficient) { return coefficient == 0; });
    if (none) return;
    const double limit = findLimit(radius);
    m_limit = limit * limit;
    m_kind = modelCode == 0 ? Kind::Table : Kind::Polynomial;
    if (m_kind != Kind::Table) return;
    m_samplesPerMillimetre = (kSamples - 1) / radius;
    for (int i = 0; i < kSamples; ++i) {
        const double r = radius * i / (kSamples - 1);
        m_table.push_back(radialFactor(r * r));
    }
}

/// The radius up to which points further out appear further out; looked for up to eight times the
/// sensor, which no lens of this kind reaches.
double Distortion::findLimit(double radius) const {
    constexpr double kReach = 8;
    constexpr int kSteps = 4096;
    for (int i = 1; i <= kSteps; ++i) {
        const double r = kReach * radius * i / kSteps, r2 = r * r;
        const double growth = 1 + r2 * (3 * m_coefficients[0] +
                                        r2 * (5 * m_coefficients[1] + r2 * 7 * m_coefficients[2]));
        if (!(growth > 0)) return kReach * radius * (i - 1) / kSteps;
    }
    return kReach * radius;
}

/// The radius at which a point appears that the lens shows at `shown`; out to the limit that is one.
double Distortion::radiusShownAt(double shown) const {
    constexpr int kHalvings = 60;
    double inner = 0, outer = std::sqrt(m_limit);
    for (int i = 0; i < kHalvings; ++i) {
        const double middle = (inner + outer) / 2;
        (middle * radialFactor(middle * middle) < shown ? inner : outer) = middle;
    }
    return outer;
}

bool Distortion::invert(double& x, double& y, double tolerance) const {
    constexpr int kMostSteps = 100;
    if (m_kind == Kind::None) return true;
    double idealX = x, idealY = y;
    for (int i = 0; i < kMostSteps; ++i) {
        // Without the tangential part, of which the last place gives an idea, only the radius moves.
        const auto [shiftX, shiftY] = tangentialShift(idealX, idealY);
        const double shown = std::hypot(x - shiftX, y - shiftY);
        const double scale = shown > 0 ? radiusShownAt(shown) / shown : 1;
        idealX = (x - shiftX) * scale;
        idealY = (y - shiftY) * scale;
        double shownX = idealX, shownY = idealY;
        if (!apply(shownX, shownY)) return false;
        if (std::abs(x - shownX) < tolerance && std::abs(y - shownY) < tolerance) {
            x = idealX;
            y = idealY;
            return true;
        }
    }
    return false;
}

bool Distortion::moveToReach(double& x, double& y) const {
    const double radius = std::hypot(x, y);
    if (!(radius > 0) || !(m_limit > 0) || !std::isfinite(m_limit)) return false;
    const double scale = std::sqrt(m_limit) / radius;
    x *= scale;
    y *= scale;
    return true;
}

namespace {

int marginOf(int workingLength, int nominalLength, int nominalMargin) {
    return static_cast<int>(
        std::ceil(static_cast<double>(workingLength) * nominalMargin / nominalLength));
}

}  // namespace

int sensorWidth(double pixelSize) {
    return traitsOf(kindOfPixels(pixelSize)).sensor.width;
}

Projection::Projection(const CameraModel& model, const CameraTraits& traits,
                       const ImageSize& nominal, const ImageSize& working)
    : m_pose(model.pose),
      m_principalDistance(model.principalDistance * 1000),
      m_originX(model.principalX * 1000),
      // Model 0 counts the principal point's y down from the upper edge, the others up from it.
      m_originY(model.modelCode == 0 ? model.principalY * 1000 : -model.principalY * 1000),
      m_marginX(marginOf(working.width, nominal.width, traits.margin)),
      m_marginY(marginOf(working.height, nominal.height, traits.margin)) {
    const double width = working.width, height = working.height;
    m_pitchX = model.pitchX * 1000 * traits.sensor.width / width;
    m_pitchY = model.pitchY * 1000 * traits.sensor.height / height;
    m_tolerance = model.pitchX * 1000 * sensorWidth(model.pixelSize) / width / 10;
    if (!(m_pitchX > 0 && m_pitchY > 0)) return;
    m_firstColumn = m_marginX;
    m_endColumn = width - m_marginX;
    m_firstRow = m_marginY;
    m_endRow = height - m_marginY;
    m_distortion = Distortion(model.modelCode, model.coefficients,
                              std::hypot(width * m_pitchX, height * m_pitchY) / 2);
}

/// In three loops, the first and the last without a branch: compilers do several points of these at once. All steps
/// and their order are those for one point, so the results are the same to the bit.
[[gnu::always_inline]] inline void Projection::projectPlainly(const double* x, const double* y,
                                                              const double* z, std::size_t count,
                                                              double* columns, double* rows) const {
    constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
    const auto [right, up, back] = m_pose.rotation.rows;
    const Vector3 offset = m_pose.offset;
    const double distance = -m_principalDistance;
    double* __restrict u = columns;
    double* __restrict v = rows;
    double depths[kMostPoints];
    for (std::size_t i = 0; i < count; ++i) {
        const double cz = back[0] * x[i] + back[1] * y[i] + back[2] * z[i] + offset[2];
        const double cx = right[0] * x[i] + right[1] * y[i] + right[2] * z[i] + offset[0];
        const double cy = up[0] * x[i] + up[1] * y[i] + up[2] * z[i] + offset[1];
        const double scale = distance / cz;
        u[i] = cx * scale;
        v[i] = cy * scale;
        depths[i] = cz;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!(depths[i] < -1e-12) || !m_distortion.apply(u[i], v[i])) u[i] = kNowhere;
    }
    const double originX = m_originX, originY = m_originY, pitchX = m_pitchX, pitchY = m_pitchY;
    const double firstColumn = m_firstColumn, endColumn = m_endColumn;
    const double firstRow = m_firstRow, endRow = m_endRow;
    for (std::size_t i = 0; i < count; ++i) {
        const double column = (u[i] + originX) / pitchX + 0.5;
        const double row = (originY - v[i]) / pitchY + 0.5;
        const bool isSeen =
            (column >= firstColumn) & (column < endColumn) & (row >= firstRow) & (row < endRow);
        u[i] = isSeen ? column : -1;
        v[i] = row;
    }
}

#if defined(__x86_64__)
[[gnu::target("avx2")]]
#endif
void Projection::projectWidely(const double* x, const double* y, const double* z, std::size_t count,
                               double* columns, double* rows) const {
    projectPlainly(x, y, z, count, columns, rows);
}

void Projection::projectMany(const double* x, const double* y, const double* z, std::size_t count,
                             double* columns, double* rows) const {
#if defined(__x86_64__)
    static const bool isWide = __builtin_cpu_supports("avx2");
    if (!isWide) return projectPlainly(x, y, z, count, columns, rows);
#endif
    projectWidely(x, y, z, count, columns, rows);
}

Vector3 Projection::directionTo(const Pixel& pixel, bool& isBeyondReach) const {
    if (!(m_pitchX > 0 && m_pitchY > 0 && m_principalDistance > 0)) throw std::exception();
    double x = pixel.column * m_pitchX - m_originX;
    double y = m_originY - pixel.row * m_pitchY;
    if (!m_distortion.isKnown()) throw std::exception();
    if (!m_distortion.invert(x, y, m_tolerance)) {
        if (!m_distortion.moveToReach(x, y)) throw std::exception();
        isBeyondReach = true;
    }
    const Vector3 direction = m_pose.toScanner({x, y, -m_principalDistance});
    const double length = std::sqrt(dot(direction, direction));
    if (!(length > 0) || !std::isfinite(length)) throw std::exception();
    return {direction[0] / length, direction[1] / length, direction[2] / length};
}

}  // namespace brisko
